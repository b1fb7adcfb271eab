#include "control/lifetime.h"

#include "control/host_call.h"
#include "services/error_store.h"
#include "services/log_service.h"

namespace OrmoHost {

void ReleaseEverything() {
  Script::Instance().Clear();
  LogService::Instance().Clear();
  ErrorStore::Instance().Clear();
}

namespace {

/// Runs when the object is unloaded or the process exits, after every destructor of a static object
/// of the libraries that use the host. It leaves valid, empty objects behind: a later call finds
/// nothing alive and gets an error.
__attribute__((destructor)) void CloseHost() {
  ReleaseEverything();
  ErrorStore::Instance().Close();
}

}  // namespace

}  // namespace OrmoHost
