// Graphs measured in a session, as a tuner does it.
#include "support/online_test.h"

#include <array>
#include <cstring>
#include <map>
#include <thread>
#include <tuple>
#include <utility>

#include "support/graph_text.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"

namespace Ormo::Testing {
namespace {

using OrmoHost::CallCount;
using OrmoHost::CompletionFault;

constexpr char STEP_RECORDS[] = "ox.stepRecords";
constexpr uint64_t SPIN_NS = 100000;

// Executions, duration and time of the cores.
using Times = std::array<uint64_t, 3>;

std::map<std::string, Times> Sum(const std::vector<RunnerRunResult>& results) {
  std::map<std::string, Times> sums;
  for (const RunnerRunResult& result : results) {
    for (const RunnerOpInfo& op : result.opInfos) {
      Times& times = sums[op.opName];
      times = {times[0] + 1, times[1] + op.opCostTime, times[2] + op.aicoreCostTime};
    }
  }
  return sums;
}

std::map<std::string, Times> Account() {
  std::map<std::string, Times> account;
  for (const auto& [name, times] : OrmoHost::Account()) {
    account[name] = {times.executions, times.duration, times.core};
  }
  return account;
}

ox::Tensor MakeFloats(const std::vector<float>& values) {
  std::vector<uint8_t> bytes(values.size() * sizeof(float));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return {ox::TensorDesc({static_cast<int64_t>(values.size())}, ox::FORMAT_ND, ox::DT_FLOAT),
          bytes};
}

std::vector<float> ReadFloats(const ox::Tensor& tensor) {
  std::vector<float> values(tensor.GetData().size() / sizeof(float));
  std::memcpy(values.data(), tensor.GetData().data(), tensor.GetData().size());
  return values;
}

class OnlineMeasurementTest : public OnlineTest {
 protected:
  int Run(const std::string& graph, RunnerConfig& config) {
    return OrmoOnlineRun(LoadGraph(graph), config, results_);
  }

  std::vector<RunnerRunResult> results_;
};

TEST_F(OnlineMeasurementTest, DependencyGraphsRunOnceBeforeTheLoopOfTheMeasuredOne) {
  Init();
  const LogCapture log(DLOG_DEBUG);
  RunnerConfig config = MakeConfig(3);
  config.options = {{"ox.save", "outputs"}};  // which dependency graphs are not given
  config.dependGraphs = {LoadGraph(AddGraph(1, 1)), LoadGraph(AddGraph(2, 1))};
  // Each fits one graph alone.
  config.graphInputs = {{MakeFloats({1})}, {MakeFloats({1, 2})}, {MakeFloats({1, 2, 3})}};
  ASSERT_EQ(Run(AddGraph(3, 1), config), STATUS_SUCCESS);
  EXPECT_THAT(results_, SizeIs(3));
  ASSERT_THAT(config.graphOutputs, ElementsAre(SizeIs(1)));
  EXPECT_THAT(ReadFloats(config.graphOutputs[0][0]), ElementsAre(2, 3, 4));
  const uint64_t firstId = std::stoull(results_[0].opInfos.at(0).modelId);
  EXPECT_GE(firstId, 2200000003U);
  const std::string saved = "Receive callback of graph id ";
  EXPECT_EQ(log.Count(DLOG_DEBUG, saved), 3U);
  EXPECT_EQ(log.Find(saved + std::to_string(firstId)).file, "online_runner.cpp");

  ASSERT_EQ(Run(AddGraph(3, 1), config), STATUS_SUCCESS);
  EXPECT_EQ(std::stoull(results_[0].opInfos.at(0).modelId), firstId + 3);
  EXPECT_THAT(config.graphOutputs, SizeIs(2));
}

TEST_F(OnlineMeasurementTest, EveryExecutionHasItsCostAndOperatorsAgreeWithTheEnginesAccount) {
  Init();
  for (const auto& [steps, ending] :
       {std::pair("", "close"), {"off", "close"}, {"", ""}, {"off", ""}}) {
    SCOPED_TRACE(std::string(steps) + "," + ending);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("ORMO_PROF_END", ending, 1);
    OrmoHost::KeepAccount();
    RunnerConfig config = MakeConfig(5);
    config.options = {{STEP_RECORDS, steps}};
    config.dependGraphs = {LoadGraph(AddGraph(1, 1))};
    ASSERT_EQ(Run(SpinGraph({SPIN_NS, 2 * SPIN_NS}), config), STATUS_SUCCESS);
    ASSERT_THAT(results_, SizeIs(5));
    for (const RunnerRunResult& result : results_) {
      ASSERT_THAT(result.opInfos, SizeIs(2));
      EXPECT_EQ(result.opInfos[0].opName, "spin0");
      EXPECT_EQ(result.opInfos[1].opName, "spin1");
      EXPECT_EQ(result.opInfos[0].opType, "Spin");
      ASSERT_THAT(result.modelInfos, SizeIs(1));
      EXPECT_EQ(result.modelInfos[0].costTime,
                result.opInfos[1].endTime - result.opInfos[0].startTime);
      EXPECT_GE(result.modelInfos[0].costTime, 3 * SPIN_NS);
    }
    EXPECT_EQ(Sum(results_), Account());
    EXPECT_EQ(Account().at("spin1")[0], 5U);
  }
}

TEST_F(OnlineMeasurementTest, ProfilingLoopAndBoundSayHowOftenTheGraphRuns) {
  constexpr uint64_t FAR_BOUND = 3'600'000'000'000;
  const std::tuple<bool, uint32_t, uint64_t, int, uint64_t, size_t, size_t> cases[] = {
      {true, 3, FAR_BOUND, STATUS_SUCCESS, 3, 3, 1},
      {true, 0, FAR_BOUND, STATUS_SUCCESS, 0, 0, 0},
      {false, 7, FAR_BOUND, STATUS_SUCCESS, 1, 0, 1},
      {true, 5, 1, STATUS_FAILED, 1, 0, 0},
  };
  Init();
  for (const auto& [prof, loop, bound, status, executions, results, outputs] : cases) {
    RunnerConfig config = MakeConfig(loop);
    config.prof = prof;
    config.runTimeBound = bound;
    OrmoHost::RecordCalls();
    EXPECT_EQ(Run(AddGraph(2, 1), config), status);
    EXPECT_EQ(CallCount("Session::RunGraphAsync"), executions);
    EXPECT_EQ(CallCount("zelgrphProfGraphSubscribe"), prof ? 1U : 0U);
    EXPECT_THAT(results_, SizeIs(results));
    EXPECT_THAT(config.graphOutputs, SizeIs(outputs));
  }
}

TEST_F(OnlineMeasurementTest, TwoCallersMeasureAtOnceInOneSessionAndInTwo) {
  Init({0, 1});
  ox::Session other;
  const auto measure = [this](ox::Session* session, const ox::Graph& graph, size_t operators) {
    for (int round = 0; round < 5; ++round) {
      RunnerConfig config = MakeConfig(4);
      config.session = session;
      config.dependGraphs = {graph};
      std::vector<RunnerRunResult> results;
      EXPECT_EQ(OrmoOnlineRun(graph, config, results), STATUS_SUCCESS);
      ASSERT_THAT(results, SizeIs(4));
      for (const RunnerRunResult& result : results) {
        ASSERT_THAT(result.opInfos, SizeIs(operators));
        EXPECT_EQ(result.opInfos[0].modelId, results[0].opInfos[0].modelId);
      }
    }
  };
  const ox::Graph two = LoadGraph(AddGraph(4, 1, 2));
  const ox::Graph three = LoadGraph(AddGraph(4, 1, 3));
  for (ox::Session* session : {session_.get(), &other}) {
    std::thread caller([&] { measure(session, three, 3); });
    measure(session_.get(), two, 2);
    caller.join();
  }
}

TEST_F(OnlineMeasurementTest, NoSessionOrOneThatMisbehavesNeitherHangsNorTouchesWhatIsGone) {
  const ox::Graph graph = LoadGraph(AddGraph(2, 1));
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
    EXPECT_EQ(OrmoOnlineRun(graph, config, results_), status);
    EXPECT_THAT(results_, SizeIs(status == STATUS_SUCCESS ? 3 : 0));
    EXPECT_EQ(OrmoHost::Alive().graphs, 0U);
    EXPECT_EQ(OpenDescriptors(), descriptors);
    session_.reset();  // late calls come now
    EXPECT_NE(log.Find(line).text, "") << "no line";
  }
  const LogCapture log(DLOG_ERROR);
  RunnerConfig config = MakeConfig();
  config.session = nullptr;
  results_.resize(1);
  EXPECT_EQ(OrmoOnlineRun(graph, config, results_), STATUS_FAILED);
  EXPECT_THAT(results_, IsEmpty());
  EXPECT_EQ(log.Find("Invalid param ox session").file, "online_runner.cpp");
}

}  // namespace
}  // namespace Ormo::Testing
