#include "offline/offline_parser.h"

#include "common/log.h"
#include "ormo/status.h"
#include "profiling/op_averages.h"
#include "profiling/run_analysis.h"

namespace Ormo {

int OfflineParser::Analysis(int fd, std::future<int>& future, RunnerResult& result) {
  return AnalyseRun(fd, future, [&result](const ModelOpInfo& modelOpInfo) {
    const int status = GetRunnerResult(modelOpInfo, result);
    if (status == STATUS_SUCCESS) {
      ORMO_LOG_INFO("Offline parser analysis finished");
    }
    return status;
  });
}

int OfflineParser::GetRunnerResult(const ModelOpInfo& modelOpInfo, RunnerResult& result) {
  const int status = CalcAverages(modelOpInfo, result);
  if (status == STATUS_SUCCESS) {
    ORMO_LOG_INFO(
        "Get runner result success, totalCostTime %llu (ns), aicore size %zu, op size %zu",
        static_cast<unsigned long long>(result.totalCostTime), result.aicoreCostTimes.size(),
        result.opCostTimes.size());
  }
  return status;
}

}  // namespace Ormo
