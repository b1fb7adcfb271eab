#include "offline/offline_runner.h"

#include <functional>
#include <future>
#include <utility>

#include "common/call_context.h"
#include "common/invalid_param.h"
#include "common/log.h"
#include "common/run_status.h"
#include "common/scope_exit.h"
#include "device/device_manager.h"
#include "device/platform_session.h"
#include "device/profiled_run.h"
#include "offline/offline_parser.h"
#include "offline/run_task.h"
#include "ormo/ormo_error_manager.h"
#include "ormo/status.h"
#include "zel/zel.h"

namespace Ormo {
namespace {

constexpr char NOT_DEPLOYED_REASON[] =
    "The environment is not deployed correctly or the ormo command is invalid";

// A copy of the calling thread's error context, for the worker.
error_message::Context CopyErrorContext() {
  return OrmoErrorManager::GetInstance().OrmoGetErrorContext();
}

// Whether an operation may go on; else an error line says why not.
bool MayWork(const InitFlag::Call& call) {
  if (RefusesCall()) {
    return false;
  }
  if (!call) {
    ORMO_LOG_ERROR("Offline runner has not been initialized");
  }
  return static_cast<bool>(call);
}

}  // namespace

InitFlag OfflineRunner::initFlag_;
bool OfflineRunner::zelInitFlag_ = false;

int OfflineRunner::InitZel() const {
  const int32_t code = InitPlatform(zelInitFlag_);
  if (code == ZEL_ERROR_ENVIRONMENT_NOT_DEPLOYED) {
    ReportReason(ERROR_CODE_ENVIRONMENT, NOT_DEPLOYED_REASON);
  }
  return code == 0 ? STATUS_SUCCESS : STATUS_FAILED;
}

std::vector<uint32_t> OfflineRunner::GetDeviceList(const std::vector<uint32_t>& requested) const {
  return ChooseDevices(requested);
}

int OfflineRunner::Init(const RunnerInitConfig& config) const {
  return StartRunner(
      initFlag_, [this] { return InitZel(); },
      [this, &config] { return GetDeviceList(config.deviceIds); }, RunTask::Init);
}

void OfflineRunner::Finalize() {
  EndRunner(
      initFlag_, "Offline",
      [this] {
        RunTask::Finalize();
        {
          const std::lock_guard<std::mutex> lock(modelDevMutex_);
          modelDevMap_.clear();
        }
        unloads_.Clear();
      },
      zelInitFlag_);
}

int OfflineRunner::LoadModel(ModelInfo& info, uint32_t deviceId) {
  const InitFlag::Call call(initFlag_);
  if (!MayWork(call)) {
    return STATUS_FAILED;
  }
  std::list<ModelUnload> unload(1);
  std::future<int> future = DeviceManager::Commit(
      [&info, context = CopyErrorContext()](uint32_t worker) {
        return DeviceManager::IsDropped(worker) ? STATUS_FAILED
                                                : RunTask::LoadModel(info, context, worker);
      },
      deviceId);
  if (!future.valid()) {
    return STATUS_FAILED;
  }
  const int status = future.get();
  if (status == STATUS_SUCCESS) {
    ORMO_LOG_INFO("Load model id %u on device %u", info.modelId, info.deviceId);
    unload.front().SetModelId(info.modelId);
    // A model that nobody can name would stay on the device for good.
    ScopeExit cleanUp("a model", [&] { unload.front().Run(info.deviceId); });
    InsertModelDevMap(info.modelId, info.deviceId);
    cleanUp.Dismiss();
    unloads_.Keep(unload);
  } else if (status == STATUS_NOT_ENOUGH_MEMORY) {
    ORMO_LOG_WARNING("Load model check memory failed, not enough mem for model on device.");
  } else {
    ORMO_LOG_ERROR("Load model failed, ret %d", status);
  }
  return status;
}

void OfflineRunner::UnloadModel(const uint32_t& modelId) {
  const InitFlag::Call call(initFlag_);
  if (!MayWork(call)) {
    return;
  }
  uint32_t deviceId = 0;
  if (GetDevIdByModelId(modelId, deviceId) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Offline runner model has not found");
    return;
  }
  if (!unloads_.Take(modelId).front().Run(deviceId)) {
    return;
  }
  ORMO_LOG_INFO("Unload model id %u", modelId);
  EraseModelDevMap(modelId);
}

// A call like any other: the map goes with the runner.
int OfflineRunner::GetDevIdByModelId(uint32_t modelId, uint32_t& deviceId) {
  if (RefusesCall()) {
    return STATUS_FAILED;
  }
  const InitFlag::Call call(initFlag_);
  if (call) {
    const std::lock_guard<std::mutex> lock(modelDevMutex_);
    const auto entry = modelDevMap_.find(modelId);
    if (entry != modelDevMap_.end()) {
      deviceId = entry->second;
      return STATUS_SUCCESS;
    }
  }
  CallContext::KeepReason("No model of id %u is loaded", modelId);
  ORMO_LOG_ERROR("Model %u has not found in device map", modelId);
  return STATUS_INVALID_PARAM;
}

void OfflineRunner::InsertModelDevMap(uint32_t modelId, uint32_t deviceId) {
  const std::lock_guard<std::mutex> lock(modelDevMutex_);
  modelDevMap_[modelId] = deviceId;
}

void OfflineRunner::EraseModelDevMap(uint32_t modelId) {
  const std::lock_guard<std::mutex> lock(modelDevMutex_);
  modelDevMap_.erase(modelId);
}

void OfflineRunner::ResetRunnerResult(RunnerResult& result) const {
  result = RunnerResult();
}

int OfflineRunner::Process(OfflineTask& task, RunnerConfig& config, RunInfo& info,
                           RunnerResult& result) const {
  // The pipe that it named is gone.
  const ScopeExit forgetPipe("the pipe's end", [&info] { info.profFd = nullptr; });
  const InitFlag::Call call(initFlag_);
  if (!MayWork(call)) {
    return STATUS_FAILED;
  }
  ResetRunnerResult(result);
  return config.prof ? ProfProcess(task, config, info, result)
                     : NormalProcess(task, config, info, result);
}

int OfflineRunner::NormalProcess(OfflineTask& task, RunnerConfig& config, RunInfo& info,
                                 RunnerResult& result) const {
  ORMO_LOG_INFO("Process running start");
  bool hasRun = false;
  std::future<int> future = DeviceManager::Commit(
      [&, context = CopyErrorContext()](uint32_t deviceId) {
        hasRun = !DeviceManager::IsDropped(deviceId);
        return hasRun ? task(config, info, context, deviceId) : STATUS_FAILED;
      },
      info.deviceId);
  const int status = future.valid() ? future.get() : STATUS_FAILED;
  if (!hasRun) {
    ORMO_LOG_ERROR("Run model failed");
    return STATUS_FAILED;
  }
  if (status != STATUS_SUCCESS) {
    return status;
  }
  result.totalCostTime = info.runCostTime;
  result.runCostTime = info.runCostTime;
  ORMO_LOG_INFO("Process running finished");
  return STATUS_SUCCESS;
}

int OfflineRunner::ProfProcess(OfflineTask& task, RunnerConfig& config, RunInfo& info,
                               RunnerResult& result) const {
  ORMO_LOG_INFO("Process running start! modelData ptr: %zu",
                reinterpret_cast<size_t>(config.modelData.data));
  ProfiledRun run;
  if (run.Open() != STATUS_SUCCESS) {
    return STATUS_FAILED;
  }
  info.profFd = run.WriteEnd();
  if (!run.Commit(std::ref(task), info.deviceId, std::ref(config), std::ref(info),
                  CopyErrorContext())) {
    ORMO_LOG_ERROR("Run model failed");
    return STATUS_FAILED;
  }
  RunnerResult measured;
  const int analysis = run.Read([&measured](int fd, std::future<int>& future) {
    return OfflineParser::Analysis(fd, future, measured);
  });
  const int status = run.TakeStatus(analysis);
  if (EndingOf(status).hasResult) {
    if (!measured.opCostTimes.empty()) {
      result = std::move(measured);
    }
    result.runCostTime = info.runCostTime;
    ORMO_LOG_INFO("Process running finished");
  }
  return status;
}

}  // namespace Ormo
