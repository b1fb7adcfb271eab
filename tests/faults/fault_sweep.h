/// \file
/// Runs a piece of work again and again, with another fault each time.
#ifndef ORMO_TESTS_FAULTS_FAULT_SWEEP_H
#define ORMO_TESTS_FAULTS_FAULT_SWEEP_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/runner_test.h"

namespace Ormo::Testing {

/// A piece of a tuner's work: ends with its status and, whatever that is, gives back what it took.
using Work = std::function<int()>;

/// What calls fail with where it does not matter.
constexpr int32_t FAILURE_CODE = 7;

/// A sweep makes one call of `work` go wrong in each run and expects after each that the platform
/// holds what it held before, that no descriptor was left open, and that the next run succeeds. It
/// prints how many calls it swept.
class FaultSweepTest : public RunnerTest {
 protected:
  /// The entry points of one runner.
  FaultSweepTest(std::function<int()> init, std::function<void()> finalize);

  void Finalize() override { finalize_(); }

  void Init() const;

  /// Initialises, does `work` and finalises. The lock files' directory is new each time.
  int Live(const Work& work) const;

  /// Expects the platform calls of `work`, and the lines that it logs, to be those that are kept
  /// under that name in clean_runs.txt.
  void ExpectCleanRun(const std::string& name, const Work& work);

  /// Calls fail with `code`; the work must end each time with the status, and log beside what it
  /// always logs the lines, that are kept under name and code in failures.txt.
  void SweepFailures(const std::string& name, const Work& work, int32_t code = FAILURE_CODE);

  /// Calls throw. The caller must hear of it; of one that releases something, it need not, and the
  /// run then succeeds.
  void SweepExceptions(const Work& work);

  /// Each of the first `count` records of `work` is damaged.
  void SweepRecordFaults(const Work& work, uint64_t count);

  /// Allocations outside the platform fail, one in each run and then 50 in a row. The caller gets
  /// std::bad_alloc, STATUS_FAILED or, for a record, STATUS_PROFILING_FAILED, or does not notice.
  void SweepAllocations(const Work& work);

 private:
  struct Call {
    std::string function;
    uint64_t nth;
  };

  /// Finalises the runner, makes the machine a fresh one and initialises the runner again.
  void Restart() const;
  static std::vector<Call> ListCalls(const Work& work);
  /// Returns the status and the lines that are not among the usual ones.
  std::string FailCall(const Work& work, const Call& call, int32_t code,
                       const std::vector<std::string>& usual);
  template <typename FaultyRun>
  void ExpectNothingLeft(const Work& work, FaultyRun faultyRun);
  template <typename FaultyRun>
  void ExpectOneBufferLeft(const Work& work, FaultyRun faultyRun);
  void SweepAllocations(const Work& work, int64_t inARow);

  const std::function<int()> init_;
  const std::function<void()> finalize_;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_FAULTS_FAULT_SWEEP_H
