#include "control/lifetime.h"

#include <atomic>
#include <optional>

#include "control/host_call.h"
#include "runtime/device_memory.h"
#include "runtime/machine.h"
#include "runtime/runtime.h"
#include "services/error_store.h"
#include "services/log_service.h"

namespace OrmoHost {
namespace {

std::atomic<bool> isClosed{false};
std::atomic<size_t> abandoned{0};

/// Of one device, or of all.
void ReleaseDevices(std::optional<uint32_t> device) {
  abandoned += Runtime::Instance().RemoveContexts(device);
  abandoned += DeviceMemory::Instance().TakeBackAll(device);
}

/// Runs when the object is unloaded or the process exits, after every destructor of a static object
/// of the libraries that use the host. It leaves valid, empty objects behind: a later call finds
/// nothing alive and gets an error.
__attribute__((destructor)) void CloseHost() {
  isClosed = true;
  ReleaseEverything();
  ErrorStore::Instance().Close();
  Machine::Instance().Close();
}

}  // namespace

void ReleaseDevice(uint32_t device) {
  ReleaseDevices(device);
}

void ReleasePlatform() {
  ReleaseDevices(std::nullopt);
  abandoned += Runtime::Instance().Clear();
}

void ReleaseEverything() {
  ReleasePlatform();
  abandoned = 0;
  Script::Instance().Clear();
  LogService::Instance().Clear();
  ErrorStore::Instance().Clear();
}

AliveObjects CountAlive() {
  AliveObjects alive;
  alive.deviceSets = Runtime::Instance().DeviceSetCount();
  alive.contexts = Runtime::Instance().ContextCount();
  alive.deviceBlocks = DeviceMemory::Instance().BlockCount();
  alive.deviceBytes = DeviceMemory::Instance().UsedOverall();
  alive.abandoned = abandoned;
  return alive;
}

bool IsHostClosed() {
  return isClosed;
}

}  // namespace OrmoHost
