/// \file
/// Result of a profiled offline run.
#ifndef ORMO_OFFLINE_OFFLINE_PARSER_H
#define ORMO_OFFLINE_OFFLINE_PARSER_H

#include <future>

#include "ormo/runner_types.h"
#include "profiling/model_op_info.h"

namespace Ormo {

class OfflineParser {
 public:
  OfflineParser() = delete;

  /// Analyses the run behind `future` (see AnalyseRun) into `result` (see GetRunnerResult).
  static int Analysis(int fd, std::future<int>& future, RunnerResult& result);

  /// As CalcAverages.
  static int GetRunnerResult(const ModelOpInfo& modelOpInfo, RunnerResult& result);
};

}  // namespace Ormo

#endif  // ORMO_OFFLINE_OFFLINE_PARSER_H
