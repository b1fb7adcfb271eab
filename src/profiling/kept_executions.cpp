#include "profiling/kept_executions.h"

#include <algorithm>

#include "common/call_context.h"
#include "common/run_watch.h"
#include "profiling/step_grouping.h"

namespace Ormo {
namespace {

// As GetModelInfo; 0 where that finds no cost.
RunnerModelInfo CostOf(const std::vector<RunnerOpInfo>& operators) {
  RunnerModelInfo info;
  if (!operators.empty()) {
    const auto last = std::max_element(
        operators.begin(), operators.end(),
        [](const RunnerOpInfo& a, const RunnerOpInfo& b) { return a.endTime < b.endTime; });
    const uint64_t start = operators.front().startTime;  // they are sorted
    info.costTime = last->endTime > start ? last->endTime - start : 0;
  }
  return info;
}

}  // namespace

void KeepExecutions(const ModelOpInfo& modelOpInfo) {
  RunWatch* const watch = CallContext::Watch();
  if (watch == nullptr) {
    return;
  }
  watch->executions.resize(modelOpInfo.steps.size());
  GetOpInfoByStep(modelOpInfo, watch->executions);
  watch->operatorsOutside = modelOpInfo.opInfos.size();
  for (RunnerRunResult& execution : watch->executions) {
    execution.modelInfos = {CostOf(execution.opInfos)};
    watch->operatorsOutside -= execution.opInfos.size();
  }
  for (const StepOpInfo& step : modelOpInfo.steps) {
    watch->executionStarts.push_back(step.start);
    watch->executionEnds.push_back(step.end);
  }
}

}  // namespace Ormo
