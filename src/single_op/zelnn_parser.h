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

  /// Analyses the run behind `future` (see AnalyseRun) into `result` (see GetRunnerResult).
  static int Analysis(int fd, std::future<int>& future, RunnerResult& result);

  /// As CalcAverages, with two lines for every operator.
  static int GetRunnerResult(const ModelOpInfo& opInfo, RunnerResult& result);
};

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_ZELNN_PARSER_H
