#include "profiling/step_grouping.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "ormo/status.h"

namespace Ormo {
namespace {

RunnerOpInfo MakeOp(const std::string& name, uint64_t start, uint64_t end) {
  RunnerOpInfo op;
  op.opName = name;
  op.startTime = start;
  op.endTime = end;
  return op;
}

std::vector<std::string> Names(const std::vector<RunnerOpInfo>& ops) {
  std::vector<std::string> names;
  names.reserve(ops.size());
  for (const RunnerOpInfo& op : ops) {
    names.push_back(op.opName);
  }
  return names;
}

// The rule as it is meant, one step after the other.
int FirstContainingStep(const ModelOpInfo& info, const RunnerOpInfo& op) {
  int index = 0;
  for (const StepOpInfo& step : info.steps) {
    if (step.start <= op.startTime && op.endTime <= step.end) {
      return index;
    }
    ++index;
  }
  return -1;
}

TEST(StepGroupingTest, TheSearchFindsWhatAWalkOverAllStepsFinds) {
  std::mt19937 random(20261122);  // NOLINT(cert-msc51-cpp): every run must see the same cases
  std::uniform_int_distribution<uint64_t> time(1, 60);
  for (int round = 0; round < 300; ++round) {
    ModelOpInfo info;
    for (int i = 0; i < 8; ++i) {
      info.steps.insert({time(random), time(random)});
      info.opInfos.push_back(MakeOp(std::to_string(i), time(random), time(random)));
    }
    std::vector<RunnerRunResult> expected(info.steps.size());
    for (const RunnerOpInfo& op : info.opInfos) {
      const int index = FirstContainingStep(info, op);
      if (index >= 0) {
        expected[static_cast<size_t>(index)].opInfos.push_back(op);
      }
    }
    std::vector<RunnerRunResult> results(info.steps.size());
    ASSERT_EQ(GetOpInfoByStep(info, results), STATUS_SUCCESS);
    for (size_t i = 0; i < results.size(); ++i) {
      EXPECT_EQ(Names(results[i].opInfos), Names(expected[i].opInfos)) << "round " << round;
    }
  }
}

}  // namespace
}  // namespace Ormo
