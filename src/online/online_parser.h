/// \file
/// Results of a graph run, one for each execution.
#ifndef ORMO_ONLINE_ONLINE_PARSER_H
#define ORMO_ONLINE_ONLINE_PARSER_H

#include <future>
#include <vector>

#include "ormo/runner_types.h"
#include "profiling/model_op_info.h"

namespace Ormo {

class OnlineParser {
 public:
  OnlineParser() = delete;

  /// Reads the records of the run behind `future` from `fd` and appends its executions to
  /// `results`, which is empty on entry; it stays so, without a failure, when no operator was read.
  /// Blocks the calling thread until the run has ended or the read failed; see
  /// ProfilingParser::ReadModelOpInfo for statuses and the future, and STATUS_PROFILING_FAILED for
  /// an execution without length.
  static int Analysis(int fd, std::future<int>& future, std::vector<RunnerRunResult>& results);

  /// Groups by the executions that the records bound, by operator name when they bound none.
  static int GetRunnerRunResult(const ModelOpInfo& info, std::vector<RunnerRunResult>& results);

  /// Takes the k-th record of a name for part of the k-th execution. Executions that `results`
  /// holds already are filled first.
  static int GetRunnerRunResultByOpName(const ModelOpInfo& info,
                                        std::vector<RunnerRunResult>& results);
};

}  // namespace Ormo

#endif  // ORMO_ONLINE_ONLINE_PARSER_H
