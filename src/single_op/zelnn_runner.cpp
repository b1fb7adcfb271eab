#include "single_op/zelnn_runner.h"

#include <future>
#include <utility>

#include "common/log.h"
#include "common/run_status.h"
#include "common/run_watch.h"
#include "common/scope_exit.h"
#include "device/device_manager.h"
#include "device/platform_session.h"
#include "device/profiled_run.h"
#include "ormo/ormo_error_manager.h"
#include "ormo/status.h"
#include "single_op/zelnn_parser.h"
#include "single_op/zelnn_run_task.h"

namespace Ormo {

InitFlag ZelnnRunner::initFlag_;
bool ZelnnRunner::zelInitFlag_ = false;

int ZelnnRunner::InitZel() const {
  return InitPlatform(zelInitFlag_) == 0 ? STATUS_SUCCESS : STATUS_FAILED;
}

std::vector<uint32_t> ZelnnRunner::GetDeviceList(const std::vector<uint32_t>& deviceIds) const {
  return ChooseDevices(deviceIds);
}

int ZelnnRunner::Init(const RunnerInitConfig& config) const {
  return StartRunner(
      initFlag_, [this] { return InitZel(); },
      [this, &config] { return GetDeviceList(config.deviceIds); }, ZelnnRunTask::Init);
}

void ZelnnRunner::Finalize() {
  EndRunner(initFlag_, "ZelnnRunner", ZelnnRunTask::Finalize, zelInitFlag_);
}

void ZelnnRunner::ResetRunnerResult(RunnerResult& result) const {
  result = RunnerResult();
}

int ZelnnRunner::Process(const ZelnnRunConfig& config, RunInfo& runInfo,
                         RunnerResult& result) const {
  if (RefusesCall()) {
    return STATUS_FAILED;
  }
  const InitFlag::Call call(initFlag_);
  if (!call) {
    ORMO_LOG_ERROR("ZelnnRunner runner has not been initialized");
    return STATUS_FAILED;
  }
  // Also when the task turns out to have thrown: its figures are those of a run that failed.
  ScopeExit reset("the result", [this, &result] { ResetRunnerResult(result); });
  RunnerResult measured;
  ProfiledRun run;
  if (run.Open() != STATUS_SUCCESS) {
    return STATUS_FAILED;
  }
  runInfo.profFd = run.WriteEnd();
  if (!run.Commit(ZelnnRunTask::Run, RunWatch::RequestedDevice(), config, runInfo,
                  OrmoErrorManager::GetInstance().OrmoGetErrorContext())) {
    ORMO_LOG_ERROR("Run model failed");
    return STATUS_FAILED;
  }
  const int analysis = run.Read([&measured](int fd, std::future<int>& future) {
    return ZelnnParser::Analysis(fd, future, measured);
  });
  const int status = run.TakeStatus(analysis);
  if (EndingOf(status).hasResult) {
    reset.Dismiss();
    if (!measured.opCostTimes.empty()) {
      result = std::move(measured);
    }
    ORMO_LOG_INFO("Process running finished");
  }
  return status;
}

}  // namespace Ormo
