#include "offline/run_task.h"

#include "common/log.h"
#include "common/run_status.h"
#include "common/run_watch.h"
#include "common/scope_exit.h"
#include "device/device_manager.h"
#include "model/model_info.h"
#include "model/model_manager.h"
#include "ormo/ormo_error_manager.h"
#include "ormo/status.h"
#include "ormo/trace.h"

namespace Ormo {
namespace {

int ProcessLocked(const RunManager& manager, const RunnerConfig& config, RunInfo& info,
                  uint32_t deviceId) {
  Trace span("run model");
  span.Start();
  Trace keyedSpan("run model -> [" + config.buildRunKey + "]");
  keyedSpan.Start();
  const DeviceLock lock = DeviceManager::Acquire(deviceId);
  return lock.MayRun() ? manager.Process(config, info) : STATUS_FAILED;
}

}  // namespace

ManagerMap<RunManager> RunTask::runManagers_(FailedManager::KEPT);

void RunTask::Init(const std::vector<uint32_t>& deviceIds) {
  runManagers_.SetDevices(deviceIds);
}

void RunTask::Finalize() {
  runManagers_.Finalize();
}

int RunTask::InitRunManager(uint32_t deviceId) {
  return runManagers_.Prepare(deviceId);
}

int RunTask::LoadModel(ModelInfo& info, const error_message::Context& context, uint32_t deviceId) {
  ORMO_LOG_INFO("Load model task start, deviceId : %u", deviceId);
  OrmoErrorManager::GetInstance().OrmoSetErrorContext(context);
  if (InitRunManager(deviceId) != STATUS_SUCCESS) {
    return STATUS_FAILED;
  }
  const RunManager& manager = runManagers_.Get(deviceId);
  const int status =
      manager.IsReady() ? ModelManager::LoadModel(info, manager.GetSocVersion()) : STATUS_FAILED;
  if (status != STATUS_SUCCESS && status != STATUS_NOT_ENOUGH_MEMORY) {
    ORMO_LOG_ERROR("Load model on device [%u] failed, modelId[%u]", deviceId, info.modelId);
  }
  ORMO_LOG_INFO("Load model task end, mdoelId : %u, devId %u, modelData ptr: %zu", info.modelId,
                deviceId, reinterpret_cast<size_t>(info.modelData.data));
  info.deviceId = deviceId;
  return status;
}

int RunTask::Run(const RunnerConfig& config, RunInfo& info, const error_message::Context& context,
                 uint32_t deviceId) {
  ORMO_LOG_INFO("Run task start, deviceId : %u, mdoelId : %u, buildRunKey = %s", deviceId,
                info.modelId, config.buildRunKey.c_str());
  RunWatch::NoteDevice(deviceId);
  OrmoErrorManager::GetInstance().OrmoSetErrorContext(context);
  if (InitRunManager(deviceId) != STATUS_SUCCESS) {
    return STATUS_FAILED;
  }
  const int status = ProcessLocked(runManagers_.Get(deviceId), config, info, deviceId);
  if (EndingOf(status).isFailure) {
    ORMO_LOG_ERROR("Run model on device [%u] failed. modelId[%u], ret : %d", deviceId, info.modelId,
                   status);
  }
  ORMO_LOG_INFO("Run task on device [%u] end", deviceId);
  return status;
}

int RunTask::RunModel(const RunnerConfig& config, RunInfo& info,
                      const error_message::Context& context, uint32_t deviceId) {
  ORMO_LOG_INFO("Run model task start, deviceId : %u", deviceId);
  RunWatch::NoteDevice(deviceId);
  ModelInfo modelInfo;
  modelInfo.modelPath = config.modelPath;
  modelInfo.modelData = config.modelData;
  modelInfo.runMode = config.runMode;
  int status = LoadModel(modelInfo, context, deviceId);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  {
    const ScopeExit unload("a model", [&] { UnloadModel(modelInfo.modelId, context, deviceId); });
    info.modelId = modelInfo.modelId;
    status = Run(config, info, context, deviceId);
  }
  ORMO_LOG_INFO("Run model task end");
  return status;
}

int RunTask::DescribeModel(uint32_t modelId, OfflineModelInfo& info,
                           const error_message::Context& context, uint32_t deviceId) {
  ORMO_LOG_INFO("Describe model task start, modelId : %u, deviceId : %u", modelId, deviceId);
  OrmoErrorManager::GetInstance().OrmoSetErrorContext(context);
  if (InitRunManager(deviceId) != STATUS_SUCCESS || !runManagers_.Get(deviceId).IsReady()) {
    return STATUS_FAILED;
  }
  info.deviceId = deviceId;
  return Ormo::DescribeModel(modelId, info);
}

void RunTask::UnloadModel(const uint32_t& modelId, const error_message::Context& context,
                          uint32_t deviceId) {
  ORMO_LOG_INFO("Unload model task start, modelId : %u, deviceId : %u", modelId, deviceId);
  // Nothing on the way to the unload is a reason to keep the model.
  ReleaseQuietly("the error context",
                 [&] { OrmoErrorManager::GetInstance().OrmoSetErrorContext(context); });
  if (InitRunManager(deviceId) != STATUS_SUCCESS) {
    return;
  }
  ReleaseQuietly("the context", [&] { static_cast<void>(runManagers_.Get(deviceId).IsReady()); });
  ModelManager::UnloadModel(modelId);
  ORMO_LOG_INFO("Unload model task end");
}

}  // namespace Ormo
