#include <unistd.h>

#include <atomic>
#include <optional>
#include <string>
#include <utility>

#include "engine/engine.h"
#include "engine/session_graph.h"
#include "models/datasets.h"
#include "models/loaded_model.h"
#include "operators/executor.h"
#include "operators/profiling.h"
#include "operators/script.h"
#include "operators/tensors.h"
#include "ormo_host/control.h"
#include "profiling/account.h"
#include "profiling/record_script.h"
#include "profiling/subscription.h"
#include "runtime/device_memory.h"
#include "runtime/machine.h"
#include "runtime/runtime.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "services/error_store.h"
#include "services/log_service.h"

namespace OrmoHost {
namespace {

const pid_t LOADED_BY = getpid();
std::atomic<size_t> abandoned{0};

// Contexts, models with their subscriptions, and memory, of one device or of all. What somebody
// should have released counts as abandoned.
void ReleaseDevices(std::optional<uint32_t> wanted) {
  auto isWanted = [&](uint32_t device) { return device == wanted.value_or(device); };
  abandoned += Single<LoadedModels>()
                   .TakeIf([&](const LoadedModel& model) { return isWanted(model.Device()); })
                   .size();
  abandoned +=
      Single<Contexts>().RemoveIf([&](const Context& context) { return isWanted(context.device); });
  abandoned +=
      Single<OperatorProfiles>()
          .TakeIf([&](const OperatorProfile& profile) { return isWanted(profile.Device()); })
          .size();
  abandoned +=
      UserBlocks().TakeIf([&](const Block& block) { return isWanted(block.Device()); }).size();
}

// Everything that users of the platform hold.
void ReleasePlatform() {
  ReleaseDevices(std::nullopt);
  Single<Executors>().Clear();  // the platform's own: no function destroys one
  abandoned += Single<Descs>().Clear() + Single<Datasets>().Clear() +
               Single<DataBuffers>().Clear() + Single<TensorDescs>().Clear() +
               Single<Tensors>().Clear() + ClearArrays() + Single<SubscribeConfigs>().Clear() +
               Single<Runtime>().Clear();
}

void ReleaseEverything() {
  ReleasePlatform();
  Single<SessionGraphs>().Clear();
  abandoned = 0;
  ClearRecordScript();
  ClearCompletionScript();
  ClearOperatorScript();
  CloseAccount();
  ClearScript();
  CloseLog();
  Single<ErrorStore>().Clear();
}

// Runs when the library is unloaded or the process exits, after every destructor of a static
// object of the libraries that use the host. It leaves valid, empty objects behind: a later call
// finds nothing alive and gets an error. A forked child has none of the threads that what is alive
// would wait for.
__attribute__((destructor)) void CloseHost() {
  isHostClosed = true;
  if (getpid() != LOADED_BY) {
    return;
  }
  ReleaseEverything();
  Single<ErrorStore>().Close();
  CloseExecutors();
  CloseArrays();
  CloseMachine();
}

}  // namespace

AliveObjects Alive() {
  AliveObjects alive;
  alive.deviceSets = Single<Runtime>().DeviceSetCount();
  alive.contexts = Single<Contexts>().Size();
  alive.deviceBlocks = UserBlocks().Size();
  alive.deviceBytes = UsedMemory();
  alive.models = Single<LoadedModels>().Size();
  alive.descs = Single<Descs>().Size();
  alive.datasets = Single<Datasets>().Size();
  alive.dataBuffers = Single<DataBuffers>().Size();
  alive.tensorDescs = Single<TensorDescs>().Size();
  alive.tensors = Single<Tensors>().Size();
  alive.arrays = CountArrays();
  alive.executors = Single<Executors>().Size();
  alive.subscribeConfigs = Single<SubscribeConfigs>().Size();
  alive.subscriptions = Subscription::Count();
  alive.sessions = DeviceSeat::Count();
  alive.graphs = Single<SessionGraphs>().Size();
  alive.abandoned = abandoned;
  return alive;
}

bool AliveObjects::Empty() const {
  return ToString().empty();
}

std::string AliveObjects::ToString() const {
  const std::pair<const char*, uint64_t> members[] = {{"deviceSets", deviceSets},
                                                      {"contexts", contexts},
                                                      {"deviceBlocks", deviceBlocks},
                                                      {"deviceBytes", deviceBytes},
                                                      {"models", models},
                                                      {"descs", descs},
                                                      {"datasets", datasets},
                                                      {"dataBuffers", dataBuffers},
                                                      {"tensorDescs", tensorDescs},
                                                      {"tensors", tensors},
                                                      {"arrays", arrays},
                                                      {"executors", executors},
                                                      {"subscribeConfigs", subscribeConfigs},
                                                      {"subscriptions", subscriptions},
                                                      {"sessions", sessions},
                                                      {"graphs", graphs},
                                                      {"abandoned", abandoned}};
  std::string text;
  for (const auto& [name, count] : members) {
    if (count != 0) {
      text += (text.empty() ? "" : ", ") + std::string(name) + " " + std::to_string(count);
    }
  }
  return text;
}

void Reset() {
  ReleaseEverything();
  ReadMachineFromEnvironment();
  OpenLogFile();
}

}  // namespace OrmoHost

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

int32_t zelFinalize() {
  return Release("zelFinalize", [] {
    Single<Runtime>().Finalize();
    ReleasePlatform();
  });
}

int32_t zelrtResetDevice(uint32_t deviceId) {
  return Release("zelrtResetDevice", [&] {
    Note(deviceId);
    if (Single<Runtime>().ResetDevice(deviceId)) {
      ReleaseDevices(deviceId);
    }
  });
}
