#include "offline/offline_parser.h"

#include <set>

#include "common/log.h"
#include "common/utils.h"
#include "ormo/status.h"
#include "ormo/trace.h"
#include "profiling/op_averages.h"

namespace Ormo {

int OfflineParser::Analysis(int fd, std::future<int>& future, RunnerResult& result) const {
  if (fd < 0) {
    return STATUS_FAILED;
  }
  ORMO_LOG_INFO("Analysis profiling data for fd : %d", fd);
  ModelOpInfo modelOpInfo;
  int status = reader_.ReadModelOpInfo(fd, future, modelOpInfo);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  if (modelOpInfo.opInfos.empty()) {
    return STATUS_SUCCESS;
  }
  Trace span("profiling get runner result");
  span.Start();
  status = GetRunnerResult(modelOpInfo, result);
  span.Stop();
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Get runner result failed");
    return status;
  }
  ORMO_LOG_INFO("Offline parser analysis finished");
  return STATUS_SUCCESS;
}

int OfflineParser::GetRunnerResult(const ModelOpInfo& modelOpInfo, RunnerResult& result) {
  std::multiset<uint64_t> totals;
  const int status = CalcTotalCostTimeByStep(modelOpInfo, totals);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Get total cost time failed");
    return status;
  }
  result.totalCostTime = Utils::CalcAvgExecuteTime(totals);
  AverageOperators(modelOpInfo.opInfos, result);
  ORMO_LOG_INFO("Get runner result success, totalCostTime %llu (ns), aicore size %zu, op size %zu",
                static_cast<unsigned long long>(result.totalCostTime),
                result.aicoreCostTimes.size(), result.opCostTimes.size());
  return STATUS_SUCCESS;
}

}  // namespace Ormo
