#include "single_op/zelnn_parser.h"

#include <cstdint>
#include <set>

#include "common/log.h"
#include "common/utils.h"
#include "ormo/status.h"
#include "ormo/trace.h"
#include "profiling/op_averages.h"
#include "profiling/profiling_parser.h"

namespace Ormo {

int ZelnnParser::Analysis(int fd, std::future<int>& future, RunnerResult& result) {
  if (fd < 0) {
    return STATUS_FAILED;
  }
  ORMO_LOG_INFO("Analysis profiling data for fd : %d", fd);
  ModelOpInfo opInfo;
  int status = ProfilingParser().ReadModelOpInfo(fd, future, opInfo);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  if (opInfo.opInfos.empty()) {
    return STATUS_SUCCESS;
  }
  Trace span("profiling get runner result");
  span.Start();
  status = GetRunnerResult(opInfo, result);
  span.Stop();
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Get runner result failed");
    return status;
  }
  ORMO_LOG_INFO("Zelnn parser analysis finished");
  return STATUS_SUCCESS;
}

int ZelnnParser::GetRunnerResult(const ModelOpInfo& opInfo, RunnerResult& result) {
  std::multiset<uint64_t> totals;
  const int status = CalcTotalCostTimeByStep(opInfo, totals);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Get total cost time failed");
    return status;
  }
  result.totalCostTime = Utils::CalcAvgExecuteTime(totals);
  for (const RunnerOpInfo& op : opInfo.opInfos) {
    ORMO_LOG_INFO("Get runner result success, aicore time %llu (ns)",
                  static_cast<unsigned long long>(op.aicoreCostTime));
    ORMO_LOG_INFO("Get runner result success, op cost time %llu (ns)",
                  static_cast<unsigned long long>(op.opCostTime));
  }
  AverageOperators(opInfo.opInfos, result);
  return STATUS_SUCCESS;
}

}  // namespace Ormo
