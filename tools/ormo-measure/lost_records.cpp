#include "lost_records.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace OrmoMeasure {

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
  return missing.empty() ? "" : "profiling records were lost (" + missing + ")";
}

}  // namespace OrmoMeasure
