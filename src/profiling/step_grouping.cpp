#include "profiling/step_grouping.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <tuple>

#include "common/log.h"
#include "ormo/status.h"

namespace Ormo {

void SortOpInfo(std::vector<RunnerOpInfo>& opInfos) {
  std::stable_sort(
      opInfos.begin(), opInfos.end(), [](const RunnerOpInfo& left, const RunnerOpInfo& right) {
        return std::tie(left.startTime, left.endTime) < std::tie(right.startTime, right.endTime);
      });
}

int GetOpInfoByStep(const ModelOpInfo& modelOpInfo, std::vector<RunnerRunResult>& results) {
  // Steps are ordered by start, so their starts rise, and so does the latest end up to each of
  // them. The first step whose latest end reaches the operator's end is the first that ends late
  // enough; every later one starts later still, so it is the answer if it starts early enough, or
  // there is none.
  std::vector<uint64_t> starts;
  std::vector<uint64_t> latestEnds;
  starts.reserve(modelOpInfo.steps.size());
  latestEnds.reserve(modelOpInfo.steps.size());
  uint64_t latestEnd = 0;
  for (const StepOpInfo& step : modelOpInfo.steps) {
    latestEnd = std::max(latestEnd, step.end);
    starts.push_back(step.start);
    latestEnds.push_back(latestEnd);
  }
  for (const RunnerOpInfo& op : modelOpInfo.opInfos) {
    const auto found = std::lower_bound(latestEnds.begin(), latestEnds.end(), op.endTime);
    if (found == latestEnds.end()) {
      continue;
    }
    const auto index = static_cast<size_t>(found - latestEnds.begin());
    if (starts[index] <= op.startTime) {
      results[index].opInfos.push_back(op);
    }
  }
  return STATUS_SUCCESS;
}

int GetModelInfo(std::vector<RunnerRunResult>& results) {
  for (RunnerRunResult& result : results) {
    uint64_t start = std::numeric_limits<uint64_t>::max();
    uint64_t end = 0;
    for (const RunnerOpInfo& op : result.opInfos) {
      start = std::min(start, op.startTime);
      end = std::max(end, op.endTime);
    }
    if (start >= end) {
      ORMO_LOG_ERROR("Invalid model start time : %lluns, end time : %lluns",
                     static_cast<unsigned long long>(start), static_cast<unsigned long long>(end));
      return STATUS_PROFILING_FAILED;
    }
    RunnerModelInfo modelInfo;
    modelInfo.costTime = end - start;
    result.modelInfos.push_back(modelInfo);
    ORMO_LOG_DEBUG("Model start time : %lluns, end time : %lluns, cost time : %lluns",
                   static_cast<unsigned long long>(start), static_cast<unsigned long long>(end),
                   static_cast<unsigned long long>(modelInfo.costTime));
  }
  return STATUS_SUCCESS;
}

int GetRunnerRunResultByStep(const ModelOpInfo& modelOpInfo,
                             std::vector<RunnerRunResult>& results) {
  results.resize(results.size() + modelOpInfo.steps.size());
  int status = GetOpInfoByStep(modelOpInfo, results);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Get op info by step failed");
    return status;
  }
  status = GetModelInfo(results);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Get model info by step failed");
  }
  return status;
}

}  // namespace Ormo
