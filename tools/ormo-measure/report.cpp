#include "report.h"

#include <algorithm>

namespace OrmoMeasure {

const char* OutcomeName(Outcome outcome) {
  switch (outcome) {
    case Outcome::MEASURED:
      return "measured";
    case Outcome::CHECKED:
      return "checked";
    case Outcome::BOUND:
      return "bound";
    case Outcome::SKIPPED:
      return "skipped";
    case Outcome::FAILED:
      break;
  }
  return "failed";
}

uint64_t CostOf(const Ormo::RunnerRunResult& execution) {
  return execution.modelInfos.empty() ? 0 : execution.modelInfos.front().costTime;
}

std::vector<OperatorCost> OperatorsByCost(const Ormo::RunnerResult& result) {
  std::vector<OperatorCost> operators;
  for (const auto& [name, cost] : result.opCostTimes) {
    const auto aicore = result.aicoreCostTimes.find(name);
    operators.push_back({name, cost, aicore == result.aicoreCostTimes.end() ? 0 : aicore->second});
  }
  std::stable_sort(operators.begin(), operators.end(),
                   [](const OperatorCost& a, const OperatorCost& b) { return a.cost > b.cost; });
  return operators;
}

}  // namespace OrmoMeasure
