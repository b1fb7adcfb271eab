/// \file
/// What a run really did, and calls that can be steered: additions to ormo_runner.h for tuners.
///
/// Everything of ormo_runner.h holds here, too: threads, ends, exceptions. What is new:
///
/// **Records that grow.** RunRequest, RunDetail and OfflineModelInfo begin with their size, which
/// they set themselves: do not change it. A later library may add members at their ends; it leaves
/// alone what lies beyond the size that it finds, and takes the defaults for what a caller does not
/// have. A size below that of the record's first version gives STATUS_INVALID_PARAM, and nothing is
/// written.
///
/// **Reasons.** A detailed call puts into its RunDetail why it failed, for that call alone,
/// whatever other threads do: it runs on a work stream of its own (see OrmoErrorManager), takes
/// from there what the platform and the library have reported, and else gives the library's own
/// reason. The calling thread's work stream, and what that has collected, are as before. A plain
/// call reports as it always has; OrmoGetFailureReason tells the library's own reason of it.
///
/// **Cost.** Times and records are kept as they come, and put in order after the run: the figures
/// are those of the plain call.
#ifndef ORMO_ORMO_RUNNER_DETAIL_H
#define ORMO_ORMO_RUNNER_DETAIL_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ormo/export.h"
#include "ormo/runner_types.h"
#include "ormo/zelnn_run_config.h"

namespace Ormo {

class CancelState;

/// Ends calls from another thread of the process. Copies are the same token. Any thread may use it,
/// also while calls do, and it may go before they end; not from a signal handler. All copies go
/// before the library is unloaded.
// NOLINTNEXTLINE(cppcoreguidelines-special-member-functions): a move is a copy, no token is empty
class ORMO_EXPORT CancelToken {
 public:
  /// Holds a descriptor as long as there is a copy. Throws std::system_error when there is none to
  /// be had.
  CancelToken();
  ~CancelToken();
  CancelToken(const CancelToken&);
  CancelToken& operator=(const CancelToken&);

  /// Ends the calls that were given this token, for good: one that is queued is withdrawn; one that
  /// waits for a device's lock leaves the wait; one that executes ends after the execution under
  /// way; one that reads records stops. They return STATUS_FAILED as soon as the platform's call
  /// under way does, with `RunDetail::isCancelled` set. One whose work is done returns as if
  /// nothing had happened. Does not wait for them.
  void Cancel() noexcept;

  bool IsCancelled() const noexcept;

  /// For the library.
  const std::shared_ptr<CancelState>& State() const noexcept { return state_; }

 private:
  std::shared_ptr<CancelState> state_;
};

/// How a profiled run finds the end of its records.
enum class ProfilingEnd : uint32_t {
  AS_ENVIRONMENT = 0,  ///< as the environment variable ORMO_PROF_END says
  BY_WAITING = 1,      ///< when none has come for a second
  BY_CLOSING = 2,      ///< as with ORMO_PROF_END=close: at once
};

/// What a detailed call is asked for beyond its plain form. Built by the caller.
struct RunRequest {
  uint32_t size = sizeof(RunRequest);
  /// Whose worker runs it; STATUS_FAILED when it has none. ANY_DEVICE_ID: whichever is free first,
  /// or a loaded model's. A graph's session goes on choosing its device by itself; this chooses the
  /// lock file then.
  uint32_t deviceId = ANY_DEVICE_ID;
  ProfilingEnd profilingEnd = ProfilingEnd::AS_ENVIRONMENT;
  /// Not owned: the call copies it as it begins. Null: the call cannot be cancelled.
  const CancelToken* cancelToken = nullptr;
};

/// What a run did. Reset by the call, then filled as far as the run went, whatever its status, also
/// when the call throws. Times are nanoseconds.
struct RunDetail {
  uint32_t size = sizeof(RunDetail);
  /// The device whose worker ran it; ANY_DEVICE_ID when none did, and for graphs: the records do
  /// not name the device that a session chose.
  uint32_t deviceId = ANY_DEVICE_ID;
  /// Why the call failed; empty after a success, and when it throws. At most 1,023 bytes when it is
  /// the library's own.
  std::string reason;
  /// By wall clock, in the order of the executions that ended well, the one that reached the bound
  /// included. Time of a single operator includes reading its request. Without a graph's
  /// dependencies.
  std::vector<uint64_t> wallTimes;
  /// Executions that were begun, also those that failed; none of a graph's dependencies.
  uint32_t executionsBegun = 0;
  /// The execution, counted from 0, that reached `RunnerConfig::runTimeBound`; meaningful if
  /// `isBoundReached`.
  uint32_t boundExecution = 0;
  bool isBoundReached = false;
  bool isCancelled = false;  ///< the token ended it
  /// The run held its device's lock: no other process that looks at the lock files disturbed it.
  bool isLockHeld = false;
  /// How long it waited for the lock.
  uint64_t lockWaitTime = 0;
  /// The executions that the profiling records show, in order of time, with their operators and
  /// cost (0 when that cannot be told). Fewer than `executionsBegun`, or operators fewer than in
  /// other executions: records were lost. Those of a graph whose engine marks none are told apart
  /// by their operators' names. Empty without profiling.
  std::vector<RunnerRunResult> executions;
  /// When the platform says that each of `executions` began and ended, by the clock of the
  /// operators' times. It may be longer than from the first operator to the last: much longer, and
  /// operators' records were lost. Empty when the platform marks no executions.
  std::vector<uint64_t> executionStarts;
  std::vector<uint64_t> executionEnds;
  /// Operators whose execution cannot be told: its record was lost.
  uint64_t operatorsOutside = 0;
};

/// What a loaded model is. Reset by the call, filled when that succeeds. Entry i of a vector is
/// that of input or output i.
///
/// Inputs are all those that a run wants a buffer for. In a model with declared dynamic settings
/// the last one, "tarn_mbatch_shape_data", is the platform's own: it has a buffer like the others,
/// and a run puts its setting there.
///
/// The platform tells the sizes; from the names on, what it cannot tell is unknown.
struct OfflineModelInfo {
  uint32_t size = sizeof(OfflineModelInfo);
  /// The device that holds the model.
  uint32_t deviceId = ANY_DEVICE_ID;
  /// Bytes, for the largest setting that is declared; 0: known only at execution.
  std::vector<uint64_t> inputSizes;
  std::vector<uint64_t> outputSizes;
  /// Of all inputs, or of all outputs; empty when unknown.
  std::vector<std::string> inputNames;
  std::vector<std::string> outputNames;
  /// Element types as in OrmoDataInfo::dataType; known with the names.
  std::vector<uint32_t> inputTypes;
  std::vector<uint32_t> outputTypes;
  /// As declared, -1 for a dimension that is open; known with the names.
  std::vector<std::vector<int64_t>> inputShapes;
  std::vector<std::vector<int64_t>> outputShapes;
  /// Whether the next two are known; they are empty when not.
  bool isDynamicKnown = false;
  /// The settings that the model was declared with, as RunnerConfig takes them; empty: none.
  std::string dynamicType;
  std::vector<std::string> dynamicParams;
  /// Bytes of device memory that the model has for its work and its weights; 0: none, unknown, or,
  /// for its work, known only at execution.
  uint64_t workSize = 0;
  uint64_t weightSize = 0;
};

}  // namespace Ormo

extern "C" {

/// OrmoOfflineRun, on the device of `request`, with `detail`. STATUS_INVALID_PARAM for a record
/// that is too small.
ORMO_EXPORT int OrmoOfflineRunDetailed(Ormo::RunnerConfig& config, const Ormo::RunRequest& request,
                                       Ormo::RunnerResult& result, Ormo::RunDetail& detail);

/// OrmoOfflineRunModel with `detail`. STATUS_INVALID_PARAM, with `result` left alone, also when the
/// request names a device that does not hold the model.
ORMO_EXPORT int OrmoOfflineRunModelDetailed(uint32_t modelId, Ormo::RunnerConfig& config,
                                            const Ormo::RunRequest& request,
                                            Ormo::RunnerResult& result, Ormo::RunDetail& detail);

/// OrmoZelnnRun, on the device of `request`, with `detail`.
ORMO_EXPORT int OrmoZelnnRunDetailed(const Ormo::ZelnnRunConfig& config,
                                     const Ormo::RunRequest& request, Ormo::RunnerResult& result,
                                     Ormo::RunDetail& detail);

/// OrmoOnlineRun, by the worker of `request`, with `detail`. An execution that the session's engine
/// never completes cannot be cancelled.
ORMO_EXPORT int OrmoOnlineRunDetailed(const ox::Graph& graph, Ormo::RunnerConfig& config,
                                      const Ormo::RunRequest& request,
                                      std::vector<Ormo::RunnerRunResult>& results,
                                      Ormo::RunDetail& detail);

/// Why the calling thread's latest call that returns a status without a RunDetail failed (those of
/// ormo_runner.h, and below), in the library's own words and at most 1,023 bytes; empty when it
/// succeeded. What the platform knows is with the error manager, which is left alone. Valid until
/// the thread's next call or end. Does not block.
ORMO_EXPORT const char* OrmoGetFailureReason();

/// A status of status.h in words, in English; a text of its own for any other. Static; any thread,
/// does not block.
ORMO_EXPORT const char* OrmoStatusText(int status);

/// How many devices the platform has: ids are 0 to `count` - 1. Does not block. STATUS_FAILED, with
/// `count` left alone, when no runner has initialised the platform or it cannot tell.
ORMO_EXPORT int OrmoGetDeviceCount(uint32_t& count);

/// Loads the model that `model` names, in its run mode, on a device (ANY_DEVICE_ID: whichever is
/// free first); otherwise like OrmoOfflineLoadFromMem and OrmoOfflineLoadFromFile. On success
/// `model.modelId` and `model.deviceId` say which it is and where; else both are undefined.
/// STATUS_FAILED also when the device has no worker.
ORMO_EXPORT int OrmoOfflineLoadOnDevice(Ormo::ModelInfo& model, uint32_t deviceId);

/// Tells what a loaded model is. Waits for the worker of the model's device, and so for the runs
/// that are queued before, but takes no lock. STATUS_INVALID_PARAM for a model that is not loaded,
/// and, with nothing written, for a record that is too small; STATUS_FAILED when the platform does
/// not describe the model, or the runner is finalised before.
ORMO_EXPORT int OrmoOfflineGetModelInfo(uint32_t modelId, Ormo::OfflineModelInfo& info);

}  // extern "C"

#endif  // ORMO_ORMO_RUNNER_DETAIL_H
