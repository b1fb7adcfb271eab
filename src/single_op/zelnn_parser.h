/// \file
/// Result of a single operator's run.
#ifndef ORMO_SINGLE_OP_ZELNN_PARSER_H
#define ORMO_SINGLE_OP_ZELNN_PARSER_H

#include <future>

#include "ormo/runner_types.h"
#include "profiling/model_op_info.h"

namespace Ormo {

class ZelnnParser {
 public:
  ZelnnParser() = delete;

  /// Reads the records of the run behind `future` from `fd` and computes `result` from them: the
  /// average cost of one execution and the averages of each operator, in nanoseconds. `runCostTime`
  /// is not touched, and nothing is when no operator was read (no failure). Records that were lost
  /// make the total too low, and 0 when none is left that bounds an execution: a warning line
  /// counts the operators that lie in no execution, and those that end before they start, whose
  /// cost is 0. Blocks the calling thread until the run has ended or the read failed; see
  /// ProfilingParser::ReadModelOpInfo for statuses and the future, and STATUS_PROFILING_FAILED for
  /// an execution without length.
  static int Analysis(int fd, std::future<int>& future, RunnerResult& result);

  /// Averages of what was read. 0, or STATUS_PROFILING_FAILED with `result` left alone.
  static int GetRunnerResult(const ModelOpInfo& opInfo, RunnerResult& result);
};

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_ZELNN_PARSER_H
