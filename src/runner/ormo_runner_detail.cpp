#include "ormo/ormo_runner_detail.h"

#include <optional>
#include <utility>

#include "common/call_context.h"
#include "common/cancel_state.h"
#include "common/log.h"
#include "common/run_watch.h"
#include "common/scope_exit.h"
#include "common/status_text.h"
#include "device/device_manager.h"
#include "offline/offline_runner.h"
#include "online/online_runner.h"
#include "ormo/ormo_error_manager.h"
#include "ormo/status.h"
#include "runner/offline_calls.h"
#include "runner/record_size.h"
#include "single_op/zelnn_runner.h"
#include "zel/zel.h"

using Ormo::CallContext;
using Ormo::ModelInfo;
using Ormo::OfflineRunner;
using Ormo::OnlineRunner;
using Ormo::RunDetail;
using Ormo::RunInfo;
using Ormo::RunnerConfig;
using Ormo::RunnerResult;
using Ormo::RunnerRunResult;
using Ormo::RunRequest;
using Ormo::ZelnnRunConfig;
using Ormo::ZelnnRunner;

namespace Ormo {

CancelToken::CancelToken() : state_(std::make_shared<CancelState>()) {}

CancelToken::~CancelToken() = default;
CancelToken::CancelToken(const CancelToken&) = default;
CancelToken& CancelToken::operator=(const CancelToken&) = default;

void CancelToken::Cancel() noexcept {
  state_->Cancel();
}

bool CancelToken::IsCancelled() const noexcept {
  return state_->IsCancelled();
}

namespace {

// The last members of the records' first version. No padding follows: a later member would lie in
// it, and a caller who does not have that member would seem to.
constexpr auto LAST_OF_REQUEST = &RunRequest::cancelToken;
constexpr auto LAST_OF_DETAIL = &RunDetail::operatorsOutside;

// A work stream of the calling thread's own, for one call.
class OwnWorkStream {
 public:
  OwnWorkStream() : callers_(Manager().OrmoGetErrorContext()) {
    Manager().OrmoGenWorkStreamIdDefault();
  }

  ~OwnWorkStream() {
    // What is left would stay with the error manager for good.
    ReleaseQuietly("the call's errors", [] {
      Manager().OrmoGetErrorMessage();
      Manager().OrmoGetWarningMessage();
    });
    ReleaseQuietly("the error context", [this] { Manager().OrmoSetErrorContext(callers_); });
  }

  OwnWorkStream(const OwnWorkStream&) = delete;
  OwnWorkStream& operator=(const OwnWorkStream&) = delete;

  std::string TakeErrors() const { return Manager().OrmoGetErrorMessage(); }

 private:
  static OrmoErrorManager& Manager() { return OrmoErrorManager::GetInstance(); }

  error_message::Context callers_;
};

void Take(const RunRequest& request, RunWatch& watch) {
  watch.requestedDevice = request.deviceId;
  watch.profilingEnd = request.profilingEnd;
  if (request.cancelToken != nullptr) {
    watch.cancel = request.cancelToken->State();
  }
}

// Member by member: the record may be smaller, or larger, than the one known here.
void Give(RunWatch& watch, RunDetail& detail) {
  detail.deviceId = watch.deviceId;
  detail.wallTimes = std::move(watch.wallTimes);
  detail.executionsBegun = watch.executionsBegun;
  detail.isBoundReached = watch.boundExecution.has_value();
  detail.boundExecution = watch.boundExecution.value_or(0);
  detail.isCancelled = watch.isCancelled;
  detail.isLockHeld = watch.isLockHeld;
  detail.lockWaitTime = watch.lockWaitTime;
  detail.executions = std::move(watch.executions);
  detail.executionStarts = std::move(watch.executionStarts);
  detail.executionEnds = std::move(watch.executionEnds);
  detail.operatorsOutside = watch.operatorsOutside;
}

// Has `run` of a runner done as a detailed call: with the request in force, a work stream of its
// own and the detail filled on every way out.
template <typename Runner, typename Run>
int RunDetailed(const RunRequest& request, RunDetail& detail, const Run& run) {
  if (!Has(request, LAST_OF_REQUEST) || !Has(detail, LAST_OF_DETAIL)) {
    ORMO_LOG_ERROR("A record of %u and one of %u bytes are too small", request.size, detail.size);
    return STATUS_INVALID_PARAM;
  }
  RunWatch watch;
  Give(watch, detail);
  detail.reason.clear();
  Take(request, watch);
  char reason[CallContext::REASON_SIZE];
  CallContext call(watch, reason);
  const ScopeExit give("the detail", [&] { Give(watch, detail); });
  std::optional<CancelState::Waker> waker;
  if (watch.cancel != nullptr) {
    waker.emplace(*watch.cancel, [&call] { DeviceManager::Wake(call); });
  }
  // Finalisation and the end of the process wait until what the platform has to say is taken.
  const auto inside = Runner::Enter();
  const OwnWorkStream workStream;
  const int status = call.End(run());
  if (status != STATUS_FAILED) {
    watch.isCancelled = false;  // it came too late
  }
  if (watch.isCancelled) {
    detail.reason = "The call has been cancelled";
  } else if (status != STATUS_SUCCESS) {
    const std::string reported = workStream.TakeErrors();
    detail.reason = reported.empty() ? reason : reported;
  }
  return status;
}

}  // namespace
}  // namespace Ormo

extern "C" {

int OrmoOfflineRunDetailed(RunnerConfig& config, const RunRequest& request, RunnerResult& result,
                           RunDetail& detail) {
  return Ormo::RunDetailed<OfflineRunner>(
      request, detail, [&] { return Ormo::RunOfflineModel(config, request.deviceId, result); });
}

int OrmoOfflineRunModelDetailed(uint32_t modelId, RunnerConfig& config, const RunRequest& request,
                                RunnerResult& result, RunDetail& detail) {
  return Ormo::RunDetailed<OfflineRunner>(request, detail, [&] {
    return Ormo::RunLoadedModel(modelId, config, request.deviceId, result);
  });
}

int OrmoZelnnRunDetailed(const ZelnnRunConfig& config, const RunRequest& request,
                         RunnerResult& result, RunDetail& detail) {
  return Ormo::RunDetailed<ZelnnRunner>(request, detail, [&] {
    RunInfo info;
    return ZelnnRunner::Instance()->Process(config, info, result);
  });
}

int OrmoOnlineRunDetailed(const ox::Graph& graph, RunnerConfig& config, const RunRequest& request,
                          std::vector<RunnerRunResult>& results, RunDetail& detail) {
  return Ormo::RunDetailed<OnlineRunner>(
      request, detail, [&] { return OnlineRunner::Instance()->Process(graph, config, results); });
}

const char* OrmoGetFailureReason() {
  return CallContext::LatestReason();
}

const char* OrmoStatusText(int status) {
  return Ormo::StatusText(status);
}

int OrmoGetDeviceCount(uint32_t& count) {
  CallContext call;
  uint32_t devices = 0;
  const int32_t code = zelrtGetDeviceCount(&devices);
  if (code != 0) {
    ORMO_LOG_ERROR("Get device count failed, ret : %d", code);
    return call.End(Ormo::STATUS_FAILED);
  }
  count = devices;
  return call.End(Ormo::STATUS_SUCCESS);
}

int OrmoOfflineLoadOnDevice(ModelInfo& model, uint32_t deviceId) {
  CallContext call;
  return call.End(OfflineRunner::Instance()->LoadModel(model, deviceId));
}

}  // extern "C"
