/// \file
/// The calls of the runners: which may come in, and how they end.
#ifndef ORMO_DEVICE_RUNNER_CALLS_H
#define ORMO_DEVICE_RUNNER_CALLS_H

#include "common/call_site.h"
#include "common/init_flag.h"
#include "common/trace_inner.h"

namespace Ormo {

/// Whether a call must not wait for a worker, after an error line of `site`'s file that says why:
/// it comes from a worker, which would wait for itself, or from a process that was forked from the
/// one with the workers.
bool RefusesCall(CallSite site = CallSite::Here());

/// The same for an initialisation, which also comes too late when the process ends.
bool RefusesInit(CallSite site = CallSite::Here());

/// For a runner whose flag is clear: DeviceManager::Drain, and wait until no call is inside it.
void EndCalls(InitFlag& runner);

/// The last member of a runner. Destroyed with it, when the process ends, it refuses further calls
/// and waits for those inside, which still record spans; but for one in a worker that ends the
/// process, whose caller waits on.
class RunnerExit {
 public:
  explicit RunnerExit(InitFlag& flag) : flag_(flag) {
    TraceInner::Instance();  // made first, the recorder is destroyed last
  }

  ~RunnerExit();
  RunnerExit(const RunnerExit&) = delete;
  RunnerExit& operator=(const RunnerExit&) = delete;

 private:
  InitFlag& flag_;
};

/// Has the workers of a process that exits without finalising end while everything that they use is
/// still there. Called after the first pool was made, and so after the trace recorder: they end
/// before the recorder goes, and before all statics of the library.
void EndWorkersAtExit();

}  // namespace Ormo

#endif  // ORMO_DEVICE_RUNNER_CALLS_H
