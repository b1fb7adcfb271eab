#include "single_op/zelnn_run_task.h"

#include "common/log.h"
#include "common/run_status.h"
#include "common/run_watch.h"
#include "device/device_manager.h"
#include "ormo/ormo_error_manager.h"
#include "ormo/status.h"
#include "ormo/trace.h"

namespace Ormo {
namespace {

int ProcessLocked(const ZelnnRunManager& manager, const ZelnnRunConfig& config, RunInfo& runInfo,
                  uint32_t deviceId) {
  Trace span("run model");
  span.Start();
  const DeviceLock lock = DeviceManager::Acquire(deviceId);
  return lock.MayRun() ? manager.Process(config, runInfo) : STATUS_FAILED;
}

}  // namespace

ManagerMap<ZelnnRunManager> ZelnnRunTask::zelnnRunManagers_(FailedManager::DROPPED);

void ZelnnRunTask::Init(const std::vector<uint32_t>& deviceIds) {
  zelnnRunManagers_.SetDevices(deviceIds);
}

void ZelnnRunTask::Finalize() {
  zelnnRunManagers_.Finalize();
}

int ZelnnRunTask::InitZelnnRunManager(uint32_t deviceId) {
  return zelnnRunManagers_.Prepare(deviceId);
}

int ZelnnRunTask::Run(const ZelnnRunConfig& config, RunInfo& runInfo,
                      const error_message::Context& context, uint32_t deviceId) {
  RunWatch::NoteDevice(deviceId);
  OrmoErrorManager::GetInstance().OrmoSetErrorContext(context);
  if (InitZelnnRunManager(deviceId) != STATUS_SUCCESS) {
    return STATUS_FAILED;
  }
  const int status = ProcessLocked(zelnnRunManagers_.Get(deviceId), config, runInfo, deviceId);
  if (EndingOf(status).isFailure) {
    ORMO_LOG_ERROR("Run model on device [%u] failed. modelId[%u], ret : %d", deviceId,
                   runInfo.modelId, status);
  }
  ORMO_LOG_INFO("Run task on device [%u] end.", deviceId);
  return status;
}

}  // namespace Ormo
