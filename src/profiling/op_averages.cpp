#include "profiling/op_averages.h"

#include "common/log.h"
#include "common/utils.h"
#include "ormo/status.h"
#include "profiling/step_grouping.h"

namespace Ormo {

int CalcTotalCostTimeByStep(const ModelOpInfo& modelOpInfo, std::multiset<uint64_t>& totals,
                            CallSite site) {
  std::vector<RunnerRunResult> results;
  const int status = GetRunnerRunResultByStep(modelOpInfo, results);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR_AT(site, "Get running result by step failed");
    return status;
  }
  for (const RunnerRunResult& result : results) {
    if (!result.modelInfos.empty()) {
      totals.insert(result.modelInfos.front().costTime);
    }
  }
  return STATUS_SUCCESS;
}

void CalcOpCostTime(const std::map<std::string, std::multiset<uint64_t>>& times,
                    std::map<std::string, uint64_t>& averages) {
  for (const auto& [name, samples] : times) {
    averages[name] = Utils::CalcAvgExecuteTime(samples);
  }
}

void AverageOperators(const std::vector<RunnerOpInfo>& opInfos, RunnerResult& result) {
  std::map<std::string, std::multiset<uint64_t>> opTimes;
  std::map<std::string, std::multiset<uint64_t>> aicoreTimes;
  for (const RunnerOpInfo& op : opInfos) {
    opTimes[op.opName].insert(op.opCostTime);
    aicoreTimes[op.opName].insert(op.aicoreCostTime);
  }
  CalcOpCostTime(aicoreTimes, result.aicoreCostTimes);
  CalcOpCostTime(opTimes, result.opCostTimes);
}

}  // namespace Ormo
