/// \file
/// Result of a profiled offline run.
#ifndef ORMO_OFFLINE_OFFLINE_PARSER_H
#define ORMO_OFFLINE_OFFLINE_PARSER_H

#include <future>

#include "ormo/runner_types.h"
#include "profiling/profiling_parser.h"

namespace Ormo {

class OfflineParser {
 public:
  explicit OfflineParser(ProfilingParser reader = ProfilingParser()) : reader_(reader) {}

  /// Reads the records of the run behind `future` from `fd` and computes `result` from them: the
  /// average cost of one execution and the averages of each operator, in nanoseconds. `runCostTime`
  /// is not touched, and nothing is when no operator was read (no failure). Records that were lost
  /// make the total too low, and 0 when none is left that bounds an execution: a warning line
  /// counts the operators that lie in no execution, and those that end before they start, whose
  /// cost is 0. Blocks the calling thread until the run has ended or the read failed; see
  /// ProfilingParser::ReadModelOpInfo for statuses and the future.
  int Analysis(int fd, std::future<int>& future, RunnerResult& result) const;

  /// Averages of what was read. 0, or STATUS_PROFILING_FAILED with `result` left alone.
  static int GetRunnerResult(const ModelOpInfo& modelOpInfo, RunnerResult& result);

 private:
  ProfilingParser reader_;
};

}  // namespace Ormo

#endif  // ORMO_OFFLINE_OFFLINE_PARSER_H
