#include "model/run_manager.h"

#include <algorithm>
#include <limits>

#include "common/log.h"
#include "common/run_status.h"
#include "common/scope_exit.h"
#include "model/chip_tables.h"
#include "model/device_context.h"
#include "model/measuring_loop.h"
#include "ormo/status.h"
#include "ormo/trace.h"
#include "profiling/offline_manager.h"

namespace Ormo {
namespace {

int SetOpExecuteTimeout(const std::string& socVersion) {
  const auto entry = std::find_if(OP_EXECUTE_TIMEOUTS.begin(), OP_EXECUTE_TIMEOUTS.end(),
                                  [&](const auto& row) { return row.first == socVersion; });
  if (entry == OP_EXECUTE_TIMEOUTS.end()) {
    return STATUS_SUCCESS;
  }
  const int32_t code = zelrtSetOpExecuteTimeOut(entry->second);
  if (code != 0) {
    ORMO_LOG_ERROR("Set op execute timeout failed for %s, ret : %d", socVersion.c_str(), code);
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int ExecuteOnce(const ModelManager& modelManager, RunInfo& runInfo, const RunnerConfig& config,
                size_t index) {
  const int status = modelManager.Execute(runInfo.runCostTime, config);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Execute model failed, index = %zu", index);
  }
  return status;
}

uint64_t AddSizes(uint64_t total, const std::vector<OrmoDataInfo>& buffers) {
  for (const OrmoDataInfo& buffer : buffers) {
    // More than there can be does not fit, rather than start again from 0.
    const uint64_t room = std::numeric_limits<uint64_t>::max() - total;
    total += std::min(buffer.size, room);
  }
  return total;
}

}  // namespace

int RunManager::Init(uint32_t id) {
  if (initFlag) {
    ORMO_LOG_WARNING("Run manager has been initialized");
    return STATUS_SUCCESS;
  }
  deviceId = id;
  int status = InitResource();
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Init run manager resource failed");
    return status;
  }
  ScopeExit release("the device and its context", [this] { DestroyResource(); });
  const char* socName = zelrtGetSocName();
  if (socName != nullptr) {
    socVersion = socName;
  }
  status = SetOpExecuteTimeout(socVersion);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  release.Dismiss();
  initFlag = true;
  return STATUS_SUCCESS;
}

int RunManager::InitResource() {
  return CreateDeviceContext(deviceId, context);
}

void RunManager::Finalize() {
  if (!initFlag) {
    ORMO_LOG_WARNING("Run manager has not been initialized");
    return;
  }
  DestroyResource();
  initFlag = false;
}

void RunManager::DestroyResource() {
  DestroyDeviceContext(deviceId, context);
}

bool RunManager::IsReady() const {
  if (!initFlag) {
    ORMO_LOG_ERROR("Run manager has not been initialized");
    return false;
  }
  return MakeContextCurrent(context) == STATUS_SUCCESS;
}

int RunManager::Process(const RunnerConfig& config, RunInfo& runInfo) const {
  if (!IsReady()) {
    return STATUS_FAILED;
  }
  ModelManager modelManager(runInfo.modelId, socVersion, config.runMode);
  Trace span("run model prepare data");
  span.Start();
  int status = PreProcess(config, modelManager);
  span.Stop();
  if (status != STATUS_SUCCESS) {
    return status;
  }
  status = config.prof ? ExecuteWithProf(modelManager, runInfo, config)
                       : Execute(modelManager, runInfo, config);
  if (!EndingOf(status).hasResult) {
    ORMO_LOG_INFO("Run config prof[%d], loop[%u], modelId[%u], input size[%zu], output size[%zu].",
                  static_cast<int>(config.prof), config.loop, runInfo.modelId, config.inputs.size(),
                  config.outputs.size());
    return status;
  }
  if (IsProcessResult(config.outputs)) {
    ORMO_LOG_EVENT("Process model result %zu.", config.outputs.size());
    status = modelManager.ProcessResult(config.outputs);
  }
  ORMO_LOG_DEBUG("Run Model[%u] on device[%u], loop[%u], run cost time[%lluns], return[%d].",
                 runInfo.modelId, deviceId, config.loop,
                 static_cast<unsigned long long>(runInfo.runCostTime), status);
  return status;
}

int RunManager::PreProcess(const RunnerConfig& config, ModelManager& modelManager) const {
  int status = modelManager.CheckAllocMemSize(CalcAllocMemSize(config));
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_WARNING("Check memory size failed");
    return status;
  }
  status = modelManager.CreateDesc();
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Create description failed");
    return status;
  }
  status = CheckConfig(config, modelManager);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Invalid run config");
    return status;
  }
  return CreateDatasets(config, modelManager);
}

int RunManager::CheckConfig(const RunnerConfig& config, const ModelManager& modelManager) const {
  int status = modelManager.CheckInput(config.inputs);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Invalid config input");
    return status;
  }
  status = modelManager.CheckOutput(config.outputs);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Invalid config output");
  }
  return status;
}

uint64_t RunManager::CalcAllocMemSize(const RunnerConfig& config) const {
  return AddSizes(AddSizes(0, config.inputs), config.outputs);
}

// Outputs first: on some chips inputs are checked against what outputs leave.
int RunManager::CreateDatasets(const RunnerConfig& config, ModelManager& modelManager) const {
  int status = modelManager.CreateOutput(config.outputs);
  if (status == STATUS_NOT_ENOUGH_MEMORY) {
    ORMO_LOG_WARNING("Check output mem size failed, ret: %d", status);
    return status;
  }
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Create output failed, ret: %d", status);
    return status;
  }
  status = modelManager.CreateInput(config.inputs);
  if (status == STATUS_NOT_ENOUGH_MEMORY) {
    ORMO_LOG_WARNING("Check input mem size failed, ret: %d", status);
  } else if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Create input failed, ret: %d", status);
  }
  return status;
}

int RunManager::Execute(const ModelManager& modelManager, RunInfo& runInfo,
                        const RunnerConfig& config) const {
  Trace span("run model execute");
  span.Start();
  size_t last = 0;
  const auto execute = [&](size_t index) {
    last = index;
    const int status = ExecuteOnce(modelManager, runInfo, config, index);
    if (status == STATUS_SUCCESS) {
      ORMO_LOG_DEBUG("execute time : %lluns", static_cast<unsigned long long>(runInfo.runCostTime));
    }
    return status;
  };
  const int status = MeasureLoop(config.loop, config.runTimeBound, runInfo.runCostTime, execute);
  if (status == STATUS_OUT_OF_BOUND) {
    ORMO_LOG_INFO("Execute model out of bound, index = %zu", last);
  }
  return status;
}

int RunManager::ExecuteWithProf(const ModelManager& modelManager, RunInfo& runInfo,
                                const RunnerConfig& config) const {
  OfflineManager profiling(runInfo.profFd, modelManager.GetModelId());
  const auto execute = [&](size_t index) {
    return ExecuteOnce(modelManager, runInfo, config, index);
  };
  return RunSubscribed(profiling, [&] {
    return MeasureLoop(config.loop, config.runTimeBound, runInfo.runCostTime, execute);
  });
}

bool RunManager::IsProcessResult(const std::vector<OrmoDataInfo>& outputs) const {
  return ModelManager::AreAllGiven(outputs);
}

}  // namespace Ormo
