// Graphs that cannot be measured, and engines that do not keep their promises.

#include <tuple>

#include "support/graph_text.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/online_test.h"
#include "support/open_descriptors.h"

namespace Ormo::Testing {
namespace {

using OrmoHost::CompletionFault;

/// Expects of a failed run its line, and that it leaves nothing behind.
class OnlineRefusalTest : public OnlineTest {
 protected:
  void ExpectFailure(const ox::Graph& graph, RunnerConfig& config,
                     const std::vector<std::string>& lines) {
    const auto descriptors = OpenDescriptors();
    LogCapture log(DLOG_ERROR);
    EXPECT_EQ(OrmoOnlineRun(graph, config, results_), STATUS_FAILED);
    for (const std::string& line : lines) {
      EXPECT_EQ(log.Find(line).file, "online_runner.cpp") << line;
    }
    EXPECT_THAT(results_, IsEmpty());
    EXPECT_EQ(OrmoHost::Alive().graphs, 0U);
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }

  const ox::Graph graph_ = LoadGraph(AddGraph(2, 1));
  std::vector<RunnerRunResult> results_ = std::vector<RunnerRunResult>(1);  // a stale one
};

TEST_F(OnlineRefusalTest, AFailingDependencyGraphEndsTheRunBeforeTheNext) {
  Init();
  RunnerConfig config = MakeConfig();
  config.dependGraphs = {graph_, LoadGraph(AddGraph(3, 1)), graph_};
  const ox::Tensor pair(ox::TensorDesc({2}, ox::FORMAT_ND, ox::DT_FLOAT), std::vector<uint8_t>(8));
  config.graphInputs = {{pair}, {pair}, {pair}, {pair}};
  OrmoHost::RecordCalls();
  ExpectFailure(graph_, config, {"get result failed with ret=", "Run graph: ", "Run depend graph"});
  EXPECT_EQ(OrmoHost::CallCount("Session::AddGraph"), 2U);
  EXPECT_EQ(OrmoHost::CallCount("Session::RemoveGraph"), 2U);
}

TEST_F(OnlineRefusalTest, GraphsThatCannotBeAddedHaveTheirLines) {
  Init();
  std::string unknown = AddGraph(2, 1);
  unknown.replace(unknown.rfind("\"Add\""), 5, "\"Odd\"");
  RunnerConfig config = MakeConfig();
  ExpectFailure(LoadGraph(unknown), config, {"Add graph=", "Run tuning graph failed"});
  config = MakeConfig();
  config.options = {{"ox.stepRecords", "sometimes"}};
  ExpectFailure(graph_, config, {"Add graph="});
  config = MakeConfig();
  config.session = nullptr;
  ExpectFailure(graph_, config, {"Invalid param ox session"});
}

TEST_F(OnlineRefusalTest, NoInitialisation) {
  RunnerConfig config = MakeConfig();
  const std::string line = "Online runner has not been initialized";
  ExpectFailure(graph_, config, {line});
  Init();
  Init();  // a repeated one changes nothing
  EXPECT_EQ(OrmoOnlineRun(graph_, config, results_), STATUS_SUCCESS);
  OrmoOnlineRunnerFinalize();
  ExpectFailure(graph_, config, {line});
}

TEST_F(OnlineRefusalTest, NoDevices) {
  LogCapture log(DLOG_ERROR);
  EXPECT_EQ(OrmoOnlineRunnerInit({{}}), STATUS_FAILED);
  EXPECT_EQ(log.Find("Init device manager failed").file, "online_runner.cpp");
  EXPECT_NE(ErrorManager::GetInstance().GetErrorMessage().find("EG0013"), std::string::npos);
  RunnerConfig config = MakeConfig();
  ExpectFailure(graph_, config, {"Online runner has not been initialized"});
}

TEST_F(OnlineRefusalTest, AMisbehavingEngineNeitherHangsNorTouchesWhatIsGone) {
  Init();
  for (const auto& [fault, status, line] :
       {std::tuple(CompletionFault::DESTROYED, STATUS_FAILED, "get result exception"),
        {CompletionFault::AFTER_FAILURE, STATUS_FAILED, "with ret = "},
        {CompletionFault::TWICE, STATUS_SUCCESS, "completed before"},
        {CompletionFault::FAILED_STATUS, STATUS_FAILED, "with ret="}}) {
    SCOPED_TRACE(line);
    session_ = std::make_unique<ox::Session>();
    const auto descriptors = OpenDescriptors();
    LogCapture log(DLOG_INFO);
    OrmoHost::FaultCompletion(2, fault);
    RunnerConfig config = MakeConfig(3);
    EXPECT_EQ(OrmoOnlineRun(graph_, config, results_), status);
    EXPECT_THAT(results_, SizeIs(status == STATUS_SUCCESS ? 3 : 0));
    EXPECT_EQ(OrmoHost::Alive().graphs, 0U);
    EXPECT_EQ(OpenDescriptors(), descriptors);
    session_.reset();  // late calls come now
    EXPECT_NE(log.Find(line).text, "") << "no line";
  }
}

}  // namespace
}  // namespace Ormo::Testing
