#include "profiling/step_grouping.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <tuple>

#include "common/log.h"
#include "ormo/status.h"

namespace Ormo {

namespace {

bool IsBefore(const RunnerOpInfo& left, const RunnerOpInfo& right) {
  return std::tie(left.startTime, left.endTime) < std::tie(right.startTime, right.endTime);
}

// Finds the step of an operator. Steps are ordered by start, so their starts rise, and so does the
// latest end up to each of them. The first step whose latest end reaches the operator's end is the
// first that ends late enough; every later one starts later still, so it is the answer if it starts
// early enough, or there is none.
class StepFinder {
 public:
  static constexpr size_t NONE = std::numeric_limits<size_t>::max();

  explicit StepFinder(const std::multiset<StepOpInfo>& steps) {
    starts_.reserve(steps.size());
    latestEnds_.reserve(steps.size());
    uint64_t latestEnd = 0;
    for (const StepOpInfo& step : steps) {
      latestEnd = std::max(latestEnd, step.end);
      starts_.push_back(step.start);
      latestEnds_.push_back(latestEnd);
    }
  }

  /// The number of the first step that contains the operator, or NONE.
  size_t Find(const RunnerOpInfo& op) {
    if (!IsFirstReaching(op.endTime)) {
      const auto found = std::lower_bound(latestEnds_.begin(), latestEnds_.end(), op.endTime);
      current_ = static_cast<size_t>(found - latestEnds_.begin());
    }
    return current_ < starts_.size() && starts_[current_] <= op.startTime ? current_ : NONE;
  }

 private:
  // Operators come sorted: most lie in the step of the one before.
  bool IsFirstReaching(uint64_t end) const {
    return current_ < latestEnds_.size() && end <= latestEnds_[current_] &&
           (current_ == 0 || latestEnds_[current_ - 1] < end);
  }

  std::vector<uint64_t> starts_;
  std::vector<uint64_t> latestEnds_;
  size_t current_ = 0;
};

}  // namespace

void SortOpInfo(std::vector<RunnerOpInfo>& opInfos) {
  // Records mostly come in order, and a sort moves every one of them several times to find that
  // out.
  if (!std::is_sorted(opInfos.begin(), opInfos.end(), IsBefore)) {
    std::stable_sort(opInfos.begin(), opInfos.end(), IsBefore);
  }
}

int GetOpInfoByStep(const ModelOpInfo& modelOpInfo, std::vector<RunnerRunResult>& results) {
  StepFinder finder(modelOpInfo.steps);
  const auto end = modelOpInfo.opInfos.end();
  // Copied by runs of operators that lie in one step: each makes its room at once.
  for (auto first = modelOpInfo.opInfos.begin(); first != end;) {
    const size_t step = finder.Find(*first);
    const auto last = std::find_if(std::next(first), end,
                                   [&](const RunnerOpInfo& op) { return finder.Find(op) != step; });
    if (step != StepFinder::NONE) {
      std::vector<RunnerOpInfo>& opInfos = results[step].opInfos;
      opInfos.insert(opInfos.end(), first, last);
    }
    first = last;
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
