#include "execution_averages.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <numeric>
#include <string>

namespace OrmoMeasure {
namespace {

using Samples = std::vector<uint64_t>;

uint64_t Average(Samples samples) {
  constexpr size_t PAIR = 2;
  constexpr size_t TRIM_MIN = 10;
  constexpr size_t TRIM_PART = 5;
  if (samples.empty()) {
    return 0;
  }
  std::sort(samples.begin(), samples.end());
  if (samples.size() == PAIR) {
    return samples.front();
  }
  const auto trimmed =
      static_cast<std::ptrdiff_t>(samples.size() < TRIM_MIN ? 0 : samples.size() / TRIM_PART);
  const auto first = samples.begin() + trimmed;
  const auto last = samples.end() - trimmed;
  return std::accumulate(first, last, uint64_t{0}) / static_cast<uint64_t>(last - first);
}

std::map<std::string, uint64_t> Average(const std::map<std::string, Samples>& samplesByName) {
  std::map<std::string, uint64_t> averages;
  for (const auto& [name, samples] : samplesByName) {
    averages[name] = Average(samples);
  }
  return averages;
}

}  // namespace

Ormo::RunnerResult AverageExecutions(const std::vector<Ormo::RunnerRunResult>& executions) {
  Samples totals;
  std::map<std::string, Samples> costs;
  std::map<std::string, Samples> aicoreCosts;
  for (const Ormo::RunnerRunResult& execution : executions) {
    for (const Ormo::RunnerModelInfo& info : execution.modelInfos) {
      totals.push_back(info.costTime);
    }
    for (const Ormo::RunnerOpInfo& op : execution.opInfos) {
      costs[op.opName].push_back(op.opCostTime);
      aicoreCosts[op.opName].push_back(op.aicoreCostTime);
    }
  }
  Ormo::RunnerResult result;
  result.totalCostTime = Average(totals);
  result.opCostTimes = Average(costs);
  result.aicoreCostTimes = Average(aicoreCosts);
  return result;
}

}  // namespace OrmoMeasure
