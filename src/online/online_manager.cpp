#include "online/online_manager.h"

#include "common/log.h"
#include "ormo/status.h"

namespace Ormo {
namespace {

constexpr uint32_t INVALID_GRAPH_ID = 0xFFFFFFFF;

}  // namespace

int OnlineManager::ProfStart() {
  if (profId_ == INVALID_GRAPH_ID) {
    ORMO_LOG_ERROR("Invalid model id 0");
    return STATUS_FAILED;
  }
  return Subscribe(zelgrphProfGraphSubscribe, profId_);
}

int OnlineManager::ProfStop() const {
  return Unsubscribe(zelgrphProfGraphUnSubscribe, profId_);
}

}  // namespace Ormo
