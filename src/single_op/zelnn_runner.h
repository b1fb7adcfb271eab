/// \file
/// The runner of single operators.
#ifndef ORMO_SINGLE_OP_ZELNN_RUNNER_H
#define ORMO_SINGLE_OP_ZELNN_RUNNER_H

#include <cstdint>
#include <vector>

#include "common/init_flag.h"
#include "common/singleton.h"
#include "device/runner_calls.h"
#include "ormo/runner_types.h"
#include "ormo/zelnn_run_config.h"

namespace Ormo {

/// Claims devices and turns measurements of operators into tasks of their workers. All operations
/// run on the caller's thread; Init must not overlap with others. Finalize refuses further calls,
/// lets those that wait end with STATUS_FAILED and waits for those that execute. Outside Init and
/// Finalize, from a worker and in a forked child measurements fail with STATUS_FAILED and an error
/// line.
class ZelnnRunner : public Singleton<ZelnnRunner> {
 public:
  int Init(const RunnerInitConfig& config) const;
  void Finalize();

  /// A call of the calling thread's as long as the object lives: finalisation and the end of the
  /// process wait for it.
  static InitFlag::Call Enter() { return InitFlag::Call(initFlag_); }

  /// Measures on whichever device is free first, from profiling records, and blocks until the task
  /// has ended. `result` is the run's when it succeeded (or reached a bound) and its records showed
  /// an operator, is left alone when they showed none, and is reset after any other status. What
  /// the task throws is rethrown. The worker has its own copy of `config` and `runInfo`.
  int Process(const ZelnnRunConfig& config, RunInfo& runInfo, RunnerResult& result) const;

 private:
  friend class Singleton<ZelnnRunner>;
  ZelnnRunner() = default;

  int InitZel() const;
  std::vector<uint32_t> GetDeviceList(const std::vector<uint32_t>& deviceIds) const;
  void ResetRunnerResult(RunnerResult& result) const;

  static InitFlag initFlag_;
  /// This runner's initialisation of the platform was the process's first.
  static bool zelInitFlag_;

  const RunnerExit exit_{initFlag_};
};

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_ZELNN_RUNNER_H
