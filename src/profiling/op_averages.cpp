#include "profiling/op_averages.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "common/log.h"
#include "common/utils.h"
#include "ormo/status.h"
#include "profiling/step_grouping.h"

namespace Ormo {

int CalcTotalCostTimeByStep(const ModelOpInfo& modelOpInfo, std::multiset<uint64_t>& totals,
                            CallSite site) {
  std::vector<uint64_t> costs;
  size_t outside = 0;
  const int status = GetCostsByStep(modelOpInfo, costs, outside);
  const auto& ops = modelOpInfo.opInfos;
  const auto reversed = std::count_if(
      ops.begin(), ops.end(), [](const RunnerOpInfo& op) { return op.endTime < op.startTime; });
  if (outside != 0 || reversed != 0) {
    ORMO_LOG_WARNING_AT(site,
                        "Of %zu operators %zu lie in no execution and %zu end before they start: "
                        "records are lost or damaged, and the total cost may be too low",
                        ops.size(), outside, static_cast<size_t>(reversed));
  }
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR_AT(site, "Get running result by step failed");
    return status;
  }
  totals.insert(costs.begin(), costs.end());
  return STATUS_SUCCESS;
}

void CalcOpCostTime(const std::map<std::string, std::multiset<uint64_t>>& times,
                    std::map<std::string, uint64_t>& averages) {
  for (const auto& [name, samples] : times) {
    averages[name] = Utils::CalcAvgExecuteTime(samples);
  }
}

int CalcAverages(const ModelOpInfo& modelOpInfo, RunnerResult& result, CallSite site) {
  std::multiset<uint64_t> totals;
  const int status = CalcTotalCostTimeByStep(modelOpInfo, totals, site);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR_AT(site, "Get total cost time failed");
    return status;
  }
  result.totalCostTime = Utils::CalcAvgExecuteTime(totals);
  std::map<std::string, std::multiset<uint64_t>> opTimes;
  std::map<std::string, std::multiset<uint64_t>> aicoreTimes;
  for (const RunnerOpInfo& op : modelOpInfo.opInfos) {
    opTimes[op.opName].insert(op.opCostTime);
    aicoreTimes[op.opName].insert(op.aicoreCostTime);
  }
  CalcOpCostTime(aicoreTimes, result.aicoreCostTimes);
  CalcOpCostTime(opTimes, result.opCostTimes);
  return STATUS_SUCCESS;
}

}  // namespace Ormo
