#include "ormo/ormo_runner.h"

#include <optional>

#include "common/call_context.h"
#include "common/log.h"
#include "common/utils.h"
#include "offline/offline_runner.h"
#include "online/online_runner.h"
#include "runner/offline_calls.h"
#include "simulator/pelt_runner.h"
#include "single_op/zelnn_runner.h"
#include "zel/zel.h"

using Ormo::CallContext;
using Ormo::ModelInfo;
using Ormo::OfflineRunner;
using Ormo::OfflineTask;
using Ormo::OnlineRunner;
using Ormo::OrmoDataInfo;
using Ormo::PeltRunner;
using Ormo::RunInfo;
using Ormo::RunnerConfig;
using Ormo::RunnerInitConfig;
using Ormo::RunnerResult;
using Ormo::RunnerRunResult;
using Ormo::ZelnnRunConfig;
using Ormo::ZelnnRunner;

namespace {

constexpr char SOC_VERSION_VARIABLE[] = "PELT_SOC_VERSION";

int LoadModel(ModelInfo info, uint32_t& modelId) {
  CallContext call;
  const int status = OfflineRunner::Instance()->LoadModel(info);
  if (status == Ormo::STATUS_SUCCESS) {
    modelId = info.modelId;
  }
  return call.End(status);
}

}  // namespace

namespace Ormo {

int OrmoOfflineRunProcess(RunnerConfig& config, RunInfo& info, RunnerResult& result,
                          OfflineTask& task) {
  CallContext call;
  return call.End(OfflineRunner::Instance()->Process(task, config, info, result));
}

}  // namespace Ormo

extern "C" {

int OrmoOfflineRunnerInit(const RunnerInitConfig& config) {
  CallContext call;
  return call.End(OfflineRunner::Instance()->Init(config));
}

void OrmoOfflineRunnerFinalize() {
  OfflineRunner::Instance()->Finalize();
}

int OrmoOfflineLoadFromFile(const std::string& modelPath, uint32_t& modelId) {
  ModelInfo info;
  info.modelPath = modelPath;
  return LoadModel(info, modelId);
}

int OrmoOfflineLoadFromMem(const OrmoDataInfo& modelData, uint32_t& modelId) {
  ModelInfo info;
  info.modelData = modelData;
  return LoadModel(info, modelId);
}

void OrmoOfflineUnloadModel(const uint32_t& modelId) {
  OfflineRunner::Instance()->UnloadModel(modelId);
}

int OrmoOfflineRun(RunnerConfig& config, RunnerResult& result) {
  CallContext call;
  return call.End(Ormo::RunOfflineModel(config, Ormo::ANY_DEVICE_ID, result));
}

int OrmoOfflineRunModel(const uint32_t& modelId, RunnerConfig& config, RunnerResult& result) {
  CallContext call;
  return call.End(Ormo::RunLoadedModel(modelId, config, Ormo::ANY_DEVICE_ID, result));
}

int OrmoOnlineRunnerInit(const RunnerInitConfig& config) {
  CallContext call;
  return call.End(OnlineRunner::Instance()->Init(config));
}

void OrmoOnlineRunnerFinalize() {
  OnlineRunner::Instance()->Finalize();
}

int OrmoOnlineRun(const ox::Graph& graph, RunnerConfig& config,
                  std::vector<RunnerRunResult>& results) {
  CallContext call;
  return call.End(OnlineRunner::Instance()->Process(graph, config, results));
}

int OrmoPeltRunnerInit() {
  CallContext call;
  return call.End(PeltRunner::Instance()->Init());
}

void OrmoPeltRunnerFinalize() {
  PeltRunner::Instance()->Finalize();
}

int OrmoPeltRun(const std::string& graphFile, RunnerResult& result) {
  CallContext call;
  return call.End(PeltRunner::Instance()->Process(graphFile, result));
}

int OrmoZelnnRunnerInit(const RunnerInitConfig& config) {
  CallContext call;
  return call.End(ZelnnRunner::Instance()->Init(config));
}

void OrmoZelnnRunnerFinalize() {
  ZelnnRunner::Instance()->Finalize();
}

int OrmoZelnnRun(const ZelnnRunConfig& config, RunnerResult& result) {
  CallContext call;
  RunInfo info;
  return call.End(ZelnnRunner::Instance()->Process(config, info, result));
}

#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif
std::string OrmoGetSocVersion() {
  // A version set for the simulator goes before that of a device.
  std::optional<std::string> peltVersion = Ormo::Utils::FindEnv(SOC_VERSION_VARIABLE);
  if (peltVersion.has_value()) {
    ORMO_LOG_EVENT("Get pelt soc version : %s", peltVersion->c_str());
    return *peltVersion;
  }
  const char* socName = zelrtGetSocName();
  if (socName != nullptr) {
    ORMO_LOG_INFO("Get soc version : %s", socName);
    return socName;
  }
  ORMO_LOG_ERROR("Get soc version failed");
  return {};
}
#ifdef __clang__
#pragma clang diagnostic pop
#endif

}  // extern "C"
