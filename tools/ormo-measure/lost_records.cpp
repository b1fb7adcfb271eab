#include "lost_records.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace OrmoMeasure {
namespace {

// What the platform needs between operators is less, and so is what disturbs every execution alike.
constexpr uint64_t LEAST_GAP_NS = 100000;
constexpr uint64_t LEAST_GAP_PERCENT = 25;

// How much of an execution, by its own record, is no operator's, in percent; 0 when that is little.
uint64_t PercentWithoutOperators(uint64_t start, uint64_t end,
                                 const std::vector<Ormo::RunnerOpInfo>& operators) {
  const uint64_t length = end - std::min(start, end);
  uint64_t gap = length;
  for (const Ormo::RunnerOpInfo& op : operators) {
    gap -= std::min(gap, op.endTime - std::min(op.startTime, op.endTime));
  }
  const auto percent = static_cast<uint64_t>(100 * static_cast<double>(gap) /
                                             static_cast<double>(std::max(length, gap + 1)));
  return gap < LEAST_GAP_NS || percent < LEAST_GAP_PERCENT ? 0 : percent;
}

// The least of all executions.
uint64_t PercentWithoutOperators(const Ormo::RunDetail& detail) {
  uint64_t least = detail.executionStarts.empty() ? 0 : 100;
  for (size_t i = 0; i < detail.executionStarts.size(); ++i) {
    least =
        std::min(least, PercentWithoutOperators(detail.executionStarts[i], detail.executionEnds[i],
                                                detail.executions[i].opInfos));
  }
  return least;
}

}  // namespace

std::string DescribeLostRecords(const Ormo::RunDetail& detail) {
  const std::vector<Ormo::RunnerRunResult>& executions = detail.executions;
  size_t most = 0;
  for (const Ormo::RunnerRunResult& execution : executions) {
    most = std::max(most, execution.opInfos.size());
  }
  const auto lacking = std::count_if(
      executions.begin(), executions.end(),
      [most](const Ormo::RunnerRunResult& execution) { return execution.opInfos.size() < most; });
  std::string missing;
  const auto add = [&missing](const std::string& text) {
    missing += (missing.empty() ? "" : ", ") + text;
  };
  const uint32_t begun = detail.executionsBegun;
  if (executions.size() < begun) {
    add("executions missing: " + std::to_string(begun - executions.size()) + " of " +
        std::to_string(begun));
  }
  if (lacking > 0) {
    add("executions that lack operators: " + std::to_string(lacking));
  }
  if (detail.operatorsOutside > 0) {
    add("operators in no execution: " + std::to_string(detail.operatorsOutside));
  }
  const uint64_t percent = PercentWithoutOperators(detail);
  if (percent > 0) {
    add("no operator in " + std::to_string(percent) + " % of each execution's time or more");
  }
  return missing.empty() ? "" : "profiling records were lost (" + missing + ")";
}

}  // namespace OrmoMeasure
