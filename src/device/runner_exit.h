/// \file
/// What a runner does when the process ends.
#ifndef ORMO_DEVICE_RUNNER_EXIT_H
#define ORMO_DEVICE_RUNNER_EXIT_H

#include "common/init_flag.h"
#include "common/trace_inner.h"
#include "device/device_manager.h"

namespace Ormo {

/// The last member of a runner. Destroyed with it, when the process ends and the workers have
/// ended, it refuses further calls and waits for those inside, which still record spans.
class RunnerExit {
 public:
  explicit RunnerExit(InitFlag& flag) : flag_(flag) {
    TraceInner::Instance();  // made first, the recorder is destroyed last
  }

  ~RunnerExit() { DeviceManager::EndCallsAtExit(flag_); }

  RunnerExit(const RunnerExit&) = delete;
  RunnerExit& operator=(const RunnerExit&) = delete;

 private:
  InitFlag& flag_;
};

}  // namespace Ormo

#endif  // ORMO_DEVICE_RUNNER_EXIT_H
