// Models measured as a tuner does it, and what a caller is told when there is nothing to measure.
#include "support/offline_test.h"

#include <cstdlib>
#include <string>
#include <tuple>

#include "ormo/ormo_error_manager.h"
#include "support/graph_text.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "zel/zel.h"

namespace Ormo::Testing {
namespace {

constexpr uint32_t UNTOUCHED = 4711;

// Spin is busy for a known time, so its figures have a floor.
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

class OfflineMeasurementTest : public OfflineTest {
 protected:
  static std::string Reason() { return OrmoErrorManager::GetInstance().OrmoGetErrorMessage(); }

  uint32_t modelId_ = UNTOUCHED;
};

TEST_F(OfflineMeasurementTest, EveryOperatorHasItsCostAndTheDefaultEndingForgetsTheBound) {
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

TEST_F(OfflineMeasurementTest, ADamagedModelIsNamedWithItsFaultyNode) {
  std::string graph = SpinGraph({1000, 1000});
  graph.replace(graph.rfind("\"ns\""), 4, "\"us\"");
  const std::string path = directory_ / "damaged.json";
  WriteFile(path, graph);
  Init();
  OrmoErrorManager::GetInstance().OrmoGenWorkStreamIdDefault();
  EXPECT_EQ(OrmoOfflineLoadFromFile(path, modelId_), STATUS_PLATFORM_FAILED);
  EXPECT_EQ(modelId_, UNTOUCHED);
  EXPECT_THAT(Reason(), AllOf(HasSubstr("damaged.json"), HasSubstr("spin1"), HasSubstr("us")));
  OrmoErrorManager::GetInstance().OrmoGenWorkStreamIdDefault();
  RunnerConfig config = MakeConfig(graph, true);
  RunnerResult result;
  EXPECT_EQ(OrmoOfflineRun(config, result), STATUS_PLATFORM_FAILED);
  EXPECT_THAT(Reason(), AllOf(HasSubstr("spin1"), HasSubstr("us")));
}

TEST_F(OfflineMeasurementTest, AnEnvironmentThatIsNotDeployedIsReported) {
  OrmoHost::Fail("zelInit", 1, 507008);
  EXPECT_EQ(OrmoOfflineRunnerInit({}), STATUS_FAILED);
  EXPECT_THAT(Reason(), AllOf(HasSubstr("EG0013"), HasSubstr("is not deployed correctly")));
}

TEST_F(OfflineMeasurementTest, APlatformThatOthersInitialisedStaysTheirs) {
  ASSERT_EQ(zelInit(""), 0);
  OrmoHost::RecordCalls();
  Init();
  OrmoOfflineRunnerFinalize();
  EXPECT_EQ(OrmoHost::CallCount("zelFinalize"), 0U);
  EXPECT_EQ(zelFinalize(), 0);
}

TEST_F(OfflineMeasurementTest, OutsideInitialisationEverythingIsRefused) {
  const std::string graph = SpinGraph({1000});
  RunnerConfig config = MakeConfig(graph, false);
  Init();
  OrmoOfflineRunnerFinalize();
  LogCapture log(DLOG_ERROR);
  RunnerResult result;
  EXPECT_EQ(OrmoOfflineLoadFromMem(AsBuffer(graph), modelId_), STATUS_FAILED);
  EXPECT_EQ(OrmoOfflineRun(config, result), STATUS_FAILED);
  OrmoOfflineUnloadModel(1);
  OrmoOfflineRunnerFinalize();
  EXPECT_EQ(log.Messages().size(), 4U);
  EXPECT_THAT(log.Messages(), Each("Offline runner has not been initialized"));
}

}  // namespace
}  // namespace Ormo::Testing
