#include "single_op/zelnn_run_manager.h"

#include <cstddef>
#include <optional>

#include "common/call_context.h"
#include "common/log.h"
#include "common/scope_exit.h"
#include "model/device_context.h"
#include "model/measuring_loop.h"
#include "ormo/status.h"
#include "single_op/zelnn_prof_manager.h"

namespace Ormo {
namespace {

constexpr uint32_t SECOND_PROFILING_ID = 0;

}  // namespace

int ZelnnRunManager::Init(uint32_t id) {
  if (initFlag) {
    ORMO_LOG_WARNING("Run manager has been initialized");
    return STATUS_SUCCESS;
  }
  deviceId = id;
  // For exceptions: a status other than 0 leaves no context.
  ScopeExit release("the device and its context", [this] {
    if (context != nullptr) {
      DestroyResource();
    }
  });
  const int status = InitResource();
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Init run manager resource failed");
    return status;
  }
  const char* socName = zelrtGetSocName();
  if (socName != nullptr) {
    socVersion = socName;
  }
  release.Dismiss();
  initFlag = true;
  return STATUS_SUCCESS;
}

int ZelnnRunManager::InitResource() {
  const int status = CreateDeviceContext(deviceId, context);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  // No failure yet: it is made current again before it is used.
  if (MakeContextCurrent(context) != STATUS_SUCCESS) {
    CallContext::ForgetReason();
  }
  return STATUS_SUCCESS;
}

void ZelnnRunManager::Finalize() {
  if (!initFlag) {
    ORMO_LOG_WARNING("Run manager has not been initialized");
    return;
  }
  DestroyResource();
  initFlag = false;
}

void ZelnnRunManager::DestroyResource() {
  DestroyDeviceContext(deviceId, context);
}

int ZelnnRunManager::Process(const ZelnnRunConfig& config, RunInfo& runInfo) const {
  const std::lock_guard<std::mutex> lock(runMutex_);
  if (MakeContextCurrent(context) != STATUS_SUCCESS) {
    return STATUS_FAILED;
  }
  return ExecuteWithProf(ZelnnManager(), runInfo, config);
}

int ZelnnRunManager::ExecuteWithProf(const ZelnnManager& manager, RunInfo& runInfo,
                                     const ZelnnRunConfig& config) const {
  ZelnnProfManager profiling(runInfo.profFd, deviceId, SECOND_PROFILING_ID);
  const auto execute = [&](size_t index) {
    const int status = manager.Execute(runInfo.runCostTime, config);
    if (status != STATUS_SUCCESS) {
      ORMO_LOG_ERROR("Execute zelnn failed, index = %zu", index);
    }
    return status;
  };
  return RunSubscribed(profiling, [&] {
    return MeasureLoop(config.loop, std::nullopt, runInfo.runCostTime, execute);
  });
}

}  // namespace Ormo
