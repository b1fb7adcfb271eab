// Measurements as a tuner makes them. Spin is busy for a known time, so its figures have a floor.
#include <cstdlib>
#include <tuple>

#include "support/graph_text.h"
#include "support/matchers.h"
#include "support/offline_test.h"

namespace Ormo::Testing {
namespace {

constexpr uint64_t LONG_NS = 1000000;
constexpr uint64_t SHORT_NS = 200000;

// What must hold of a profiled run of LONG_NS and SHORT_NS: averages of up to nine executions keep
// the order that the times of each execution have.
void ExpectProfiledFigures(const RunnerResult& result) {
  ASSERT_THAT(result.opCostTimes, ElementsAre(Key("spin0"), Key("spin1")));
  ASSERT_THAT(result.aicoreCostTimes, ElementsAre(Key("spin0"), Key("spin1")));
  EXPECT_GE(result.aicoreCostTimes.at("spin0"), LONG_NS);
  EXPECT_GE(result.aicoreCostTimes.at("spin1"), SHORT_NS);
  EXPECT_GE(result.opCostTimes.at("spin0"), result.aicoreCostTimes.at("spin0"));
  EXPECT_GE(result.opCostTimes.at("spin1"), result.aicoreCostTimes.at("spin1"));
  EXPECT_GE(result.totalCostTime, result.opCostTimes.at("spin0") + result.opCostTimes.at("spin1"));
  EXPECT_GE(result.runCostTime, result.totalCostTime);
}

using MeasurementTest = OfflineTest;

TEST_F(MeasurementTest, EveryOperatorHasItsCostAndTheDefaultEndingForgetsTheBound) {
  constexpr uint64_t FAR_BOUND = 3'600'000'000'000;
  const std::tuple<bool, const char*, uint64_t, int, uint64_t> cases[] = {
      {false, "", FAR_BOUND, STATUS_SUCCESS, 3},
      {true, "", FAR_BOUND, STATUS_SUCCESS, 3},
      {true, "close", FAR_BOUND, STATUS_SUCCESS, 3},
      {false, "close", LONG_NS, STATUS_OUT_OF_BOUND, 1},
      {true, "close", LONG_NS, STATUS_OUT_OF_BOUND, 1},
      {true, "", LONG_NS, STATUS_SUCCESS, 1},
  };
  const std::string graph = SpinGraph({LONG_NS, SHORT_NS});
  RunnerResult result = MakeStaleResult();
  Init();
  for (const auto& [prof, ending, bound, status, executions] : cases) {
    SCOPED_TRACE(::testing::Message() << prof << ending << bound);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("ORMO_PROF_END", ending, 1);
    OrmoHost::RecordCalls();
    RunnerConfig config = MakeConfig(graph, prof, 3);
    config.runTimeBound = bound;
    EXPECT_EQ(OrmoOfflineRun(config, result), status);
    EXPECT_EQ(OrmoHost::CallCount("zelmdlExecute"), executions);
    if (prof) {
      ExpectProfiledFigures(result);
    } else if (status == STATUS_SUCCESS) {
      EXPECT_GE(result.totalCostTime, LONG_NS + SHORT_NS);
      EXPECT_EQ(result.runCostTime, result.totalCostTime);
      EXPECT_THAT(result.opCostTimes, IsEmpty());
    } else {
      ExpectReset(result);
    }
  }
}

}  // namespace
}  // namespace Ormo::Testing
