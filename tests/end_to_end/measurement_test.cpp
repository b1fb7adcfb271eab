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

class MeasurementTest : public OfflineTest {
 protected:
  const std::string graph_ = SpinGraph({LONG_NS, SHORT_NS});
  RunnerResult result_ = MakeStaleResult();
};

TEST_F(MeasurementTest, ByWallClockTheTimeOfTheExecutionsIsTheWholeResult) {
  Init();
  OrmoHost::RecordCalls();
  RunnerConfig config = MakeConfig(graph_, false, 3);
  ASSERT_EQ(OrmoOfflineRun(config, result_), STATUS_SUCCESS);
  EXPECT_EQ(OrmoHost::CallCount("zelmdlExecute"), 3U);
  EXPECT_GE(result_.totalCostTime, LONG_NS + SHORT_NS);
  EXPECT_EQ(result_.runCostTime, result_.totalCostTime);
  EXPECT_THAT(result_.opCostTimes, IsEmpty());
  EXPECT_THAT(result_.aicoreCostTimes, IsEmpty());
}

TEST_F(MeasurementTest, ProfiledEveryOperatorHasItsCostWithEitherEnding) {
  Init();
  for (const char* ending : {"", "close"}) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("ORMO_PROF_END", ending, 1);
    RunnerConfig config = MakeConfig(graph_, true, 5);
    ASSERT_EQ(OrmoOfflineRun(config, result_), STATUS_SUCCESS);
    ExpectProfiledFigures(result_);
  }
}

TEST_F(MeasurementTest, TheBoundKeepsProfiledFiguresAndTheDefaultEndingForgetsIt) {
  Init();
  for (const auto& [prof, ending, status] : {std::tuple(false, "close", STATUS_OUT_OF_BOUND),
                                             {true, "close", STATUS_OUT_OF_BOUND},
                                             {true, "", STATUS_SUCCESS}}) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("ORMO_PROF_END", ending, 1);
    OrmoHost::RecordCalls();
    RunnerConfig config = MakeConfig(graph_, prof, 5);
    config.runTimeBound = LONG_NS;
    EXPECT_EQ(OrmoOfflineRun(config, result_), status);
    EXPECT_EQ(OrmoHost::CallCount("zelmdlExecute"), 1U);
    if (prof) {
      ExpectProfiledFigures(result_);
    } else {
      ExpectReset(result_);
    }
  }
}

}  // namespace
}  // namespace Ormo::Testing
