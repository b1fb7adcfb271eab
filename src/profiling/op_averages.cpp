#include "profiling/op_averages.h"

#include "common/utils.h"

namespace Ormo {

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
