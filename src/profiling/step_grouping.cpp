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

  // The number of the first step that contains the operator, or NONE.
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

// The time from the first start to the last end of a step's operators.
class Span {
 public:
  void Add(const RunnerOpInfo& op) {
    start_ = std::min(start_, op.startTime);
    end_ = std::max(end_, op.endTime);
  }

  // 0, or STATUS_PROFILING_FAILED when there is no such time.
  int GetCost(uint64_t& cost) const {
    const auto start = static_cast<unsigned long long>(start_);
    const auto end = static_cast<unsigned long long>(end_);
    if (start_ >= end_) {
      ORMO_LOG_ERROR("Invalid model start time : %lluns, end time : %lluns", start, end);
      return STATUS_PROFILING_FAILED;
    }
    cost = end_ - start_;
    ORMO_LOG_DEBUG("Model start time : %lluns, end time : %lluns, cost time : %lluns", start, end,
                   static_cast<unsigned long long>(cost));
    return STATUS_SUCCESS;
  }

 private:
  uint64_t start_ = std::numeric_limits<uint64_t>::max();
  uint64_t end_ = 0;
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
    Span span;
    for (const RunnerOpInfo& op : result.opInfos) {
      span.Add(op);
    }
    RunnerModelInfo modelInfo;
    const int status = span.GetCost(modelInfo.costTime);
    if (status != STATUS_SUCCESS) {
      return status;
    }
    result.modelInfos.push_back(modelInfo);
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

int GetCostsByStep(const ModelOpInfo& modelOpInfo, std::vector<uint64_t>& costs, size_t& outside) {
  std::vector<Span> spans(modelOpInfo.steps.size());
  StepFinder finder(modelOpInfo.steps);
  for (const RunnerOpInfo& op : modelOpInfo.opInfos) {
    const size_t step = finder.Find(op);
    if (step == StepFinder::NONE) {
      ++outside;
    } else {
      spans[step].Add(op);
    }
  }
  costs.reserve(costs.size() + spans.size());
  for (const Span& span : spans) {
    uint64_t cost = 0;
    const int status = span.GetCost(cost);
    if (status != STATUS_SUCCESS) {
      ORMO_LOG_ERROR("Get model info by step failed");
      return status;
    }
    costs.push_back(cost);
  }
  return STATUS_SUCCESS;
}

}  // namespace Ormo
