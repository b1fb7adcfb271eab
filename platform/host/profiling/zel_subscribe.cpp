#include <memory>
#include <system_error>

#include "control/host_call.h"
#include "control/undying.h"
#include "models/model_store.h"
#include "profiling/subscribe_configs.h"
#include "runtime/codes.h"
#include "zel/zel_prof.h"

namespace OrmoHost {

SubscribeConfigs& AllSubscribeConfigs() {
  static Undying<SubscribeConfigs> instance;
  return *instance;
}

namespace {

int32_t SubscribeModel(uint32_t modelId, const zelprofSubscribeConfig* config) {
  std::shared_ptr<LoadedModel> model = ModelStore::Instance().Find(modelId);
  if (model == nullptr) {
    return UNKNOWN_MODEL;
  }
  std::shared_ptr<RecordOutput> output = AllSubscribeConfigs().Find(config);
  if (output == nullptr) {
    return UNKNOWN_HANDLE;
  }
  try {
    return model->Subscribe(std::move(output));
  } catch (const std::system_error&) {
    return NO_THREAD;
  }
}

int32_t UnsubscribeModel(uint32_t modelId) {
  std::shared_ptr<LoadedModel> model = ModelStore::Instance().Find(modelId);
  return model == nullptr ? UNKNOWN_MODEL : model->Unsubscribe();
}

}  // namespace

}  // namespace OrmoHost

using OrmoHost::AllSubscribeConfigs;
using OrmoHost::HostCall;
using OrmoHost::RecordOutput;

zelprofSubscribeConfig* zelprofCreateSubscribeConfig(int8_t timeInfoSwitch,
                                                     zelprofAicoreMetrics metric, void* fd) {
  HostCall call("zelprofCreateSubscribeConfig");
  bool isSupported = timeInfoSwitch == ZEL_PROF_TIME_INFO_ON && metric == ZEL_AICORE_NONE;
  if (call.Fails() != 0 || !isSupported || fd == nullptr) {
    return nullptr;
  }
  auto output = std::make_shared<RecordOutput>(*static_cast<int32_t*>(fd));
  return output->Get() < 0 ? nullptr : AllSubscribeConfigs().Add(std::move(output));
}

int32_t zelprofDestroySubscribeConfig(zelprofSubscribeConfig* config) {
  HostCall call("zelprofDestroySubscribeConfig");
  bool wasAlive = AllSubscribeConfigs().Remove(config) != nullptr;
  return call.After(wasAlive ? OrmoHost::SUCCESS : OrmoHost::UNKNOWN_HANDLE);
}

int32_t zelprofModelSubscribe(uint32_t modelId, zelprofSubscribeConfig* config) {
  HostCall call("zelprofModelSubscribe");
  int32_t code = call.Fails();
  return code != 0 ? code : OrmoHost::SubscribeModel(modelId, config);
}

int32_t zelprofModelUnSubscribe(uint32_t modelId) {
  HostCall call("zelprofModelUnSubscribe");
  return call.After(OrmoHost::UnsubscribeModel(modelId));
}
