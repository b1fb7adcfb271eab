#include "runner/offline_calls.h"

#include "common/log.h"
#include "offline/offline_runner.h"
#include "offline/run_task.h"
#include "ormo/status.h"

namespace Ormo {

int RunOfflineModel(RunnerConfig& config, uint32_t deviceId, RunnerResult& result) {
  RunInfo info;
  info.deviceId = deviceId;
  OfflineTask task = RunTask::RunModel;
  return OfflineRunner::Instance()->Process(task, config, info, result);
}

int RunLoadedModel(uint32_t modelId, RunnerConfig& config, uint32_t deviceId, RunnerResult& result,
                   CallSite site) {
  RunInfo info;
  info.modelId = modelId;
  const int status = OfflineRunner::Instance()->GetDevIdByModelId(modelId, info.deviceId);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR_AT(site, "Offline runner model has not found device.");
    return status;
  }
  if (deviceId != ANY_DEVICE_ID && deviceId != info.deviceId) {
    ORMO_LOG_ERROR_AT(site, "Model %u is on device [%u], not on device [%u]", modelId,
                      info.deviceId, deviceId);
    return STATUS_INVALID_PARAM;
  }
  OfflineTask task = RunTask::Run;
  return OfflineRunner::Instance()->Process(task, config, info, result);
}

}  // namespace Ormo
