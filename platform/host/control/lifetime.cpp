#include "control/lifetime.h"

#include <atomic>
#include <optional>

#include "control/host_call.h"
#include "models/datasets.h"
#include "models/model_store.h"
#include "profiling/record_script.h"
#include "profiling/subscribe_configs.h"
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
  abandoned += ModelStore::Instance().RemoveAll(device);
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
  abandoned += AllDescs().Clear() + AllDatasets().Clear() + AllDataBuffers().Clear() +
               AllTensorDescs().Clear() + AllSubscribeConfigs().Clear();
  abandoned += Runtime::Instance().Clear();
}

void ReleaseEverything() {
  ReleasePlatform();
  abandoned = 0;
  RecordScript::Instance().Clear();
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
  alive.models = ModelStore::Instance().Size();
  alive.descs = AllDescs().Size();
  alive.datasets = AllDatasets().Size();
  alive.dataBuffers = AllDataBuffers().Size();
  alive.tensorDescs = AllTensorDescs().Size();
  alive.subscribeConfigs = AllSubscribeConfigs().Size();
  alive.subscriptions = ModelStore::Instance().SubscriptionCount();
  alive.abandoned = abandoned;
  return alive;
}

bool IsHostClosed() {
  return isClosed;
}

}  // namespace OrmoHost
