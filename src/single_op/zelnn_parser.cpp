#include "single_op/zelnn_parser.h"

#include "common/log.h"
#include "ormo/status.h"
#include "profiling/op_averages.h"
#include "profiling/run_analysis.h"

namespace Ormo {

int ZelnnParser::Analysis(int fd, std::future<int>& future, RunnerResult& result) {
  return AnalyseRun(fd, future, [&result](const ModelOpInfo& opInfo) {
    const int status = GetRunnerResult(opInfo, result);
    if (status == STATUS_SUCCESS) {
      ORMO_LOG_INFO("Zelnn parser analysis finished");
    }
    return status;
  });
}

int ZelnnParser::GetRunnerResult(const ModelOpInfo& opInfo, RunnerResult& result) {
  const int status = CalcAverages(opInfo, result);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  for (const RunnerOpInfo& op : opInfo.opInfos) {
    ORMO_LOG_INFO("Get runner result success, aicore time %llu (ns)",
                  static_cast<unsigned long long>(op.aicoreCostTime));
    ORMO_LOG_INFO("Get runner result success, op cost time %llu (ns)",
                  static_cast<unsigned long long>(op.opCostTime));
  }
  return STATUS_SUCCESS;
}

}  // namespace Ormo
