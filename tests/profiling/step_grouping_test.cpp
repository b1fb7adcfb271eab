#include "profiling/step_grouping.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "ormo/status.h"

namespace Ormo {
namespace {

// The rule as it is meant, one step after the other.
size_t FirstContainingStep(const ModelOpInfo& info, const RunnerOpInfo& op) {
  const auto step =
      std::find_if(info.steps.begin(), info.steps.end(), [&op](const StepOpInfo& candidate) {
        return candidate.start <= op.startTime && op.endTime <= candidate.end;
      });
  return static_cast<size_t>(std::distance(info.steps.begin(), step));
}

TEST(StepGroupingTest, TheSearchFindsWhatAWalkOverAllStepsFinds) {
  std::mt19937 random(20261122);  // NOLINT(cert-msc51-cpp): every run must see the same cases
  std::uniform_int_distribution<uint64_t> time(1, 60);
  for (int round = 0; round < 300; ++round) {
    ModelOpInfo info;
    for (int i = 0; i < 8; ++i) {
      info.steps.insert({time(random), time(random)});
      RunnerOpInfo& op = info.opInfos.emplace_back();
      op.opName = std::to_string(i);
      op.startTime = time(random);
      op.endTime = time(random);
    }
    std::vector<std::string> expected(info.steps.size() + 1);  // the last: in none
    for (const RunnerOpInfo& op : info.opInfos) {
      expected[FirstContainingStep(info, op)] += op.opName;
    }
    std::vector<RunnerRunResult> results(info.steps.size());
    ASSERT_EQ(GetOpInfoByStep(info, results), STATUS_SUCCESS);
    for (size_t i = 0; i < results.size(); ++i) {
      std::string names;
      for (const RunnerOpInfo& op : results[i].opInfos) {
        names += op.opName;
      }
      EXPECT_EQ(names, expected[i]) << "round " << round;
    }
  }
}

}  // namespace
}  // namespace Ormo
