/// \file
/// What a detailed call asks for, and what its run turns out to have done.
#ifndef ORMO_COMMON_RUN_WATCH_H
#define ORMO_COMMON_RUN_WATCH_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "common/cancel_state.h"
#include "ormo/ormo_runner_detail.h"
#include "ormo/runner_types.h"

namespace Ormo {

/// Belongs to one call; whoever does something on its behalf finds it by CallContext::Watch. Calls
/// without one pay for a look at that. The worker writes while the run goes on, the calling thread
/// before and after.
struct RunWatch {
  // What is asked for.
  uint32_t requestedDevice = ANY_DEVICE_ID;
  std::shared_ptr<CancelState> cancel;  ///< or null
  ProfilingEnd profilingEnd = ProfilingEnd::AS_ENVIRONMENT;

  // What was done, in the terms of RunDetail.
  std::atomic<bool> isCancelled{false};
  uint32_t deviceId = ANY_DEVICE_ID;
  uint64_t lockWaitTime = 0;
  bool isLockHeld = false;
  uint32_t executionsBegun = 0;
  std::vector<uint64_t> wallTimes;
  std::optional<uint32_t> boundExecution;
  std::vector<RunnerRunResult> executions;
  std::vector<uint64_t> executionStarts;
  std::vector<uint64_t> executionEnds;
  uint64_t operatorsOutside = 0;

  /// The worker that the calling thread's call asks for.
  static uint32_t RequestedDevice() noexcept;

  /// Notes for the calling thread's call where it runs.
  static void NoteDevice(uint32_t deviceId) noexcept;

  /// Makes room for the times of a loop, so that few of its executions wait for memory.
  void ReserveTimes(uint32_t loop);

  /// False, and noted, when the call has been cancelled and another execution must not begin.
  bool BeginExecution() noexcept;

  void EndExecution(uint64_t wallTime);
};

}  // namespace Ormo

#endif  // ORMO_COMMON_RUN_WATCH_H
