// Graphs in sessions.
#include "ox/session.h"

#include <atomic>
#include <cstring>
#include <future>
#include <memory>
#include <new>
#include <thread>
#include <tuple>
#include <utility>

#include "error_manager/error_manager.h"
#include "faults/failing_allocation.h"
#include "ox/graph_utils.h"
#include "platform/platform_test.h"
#include "support/matchers.h"
#include "support/temp_directory.h"
#include "zel/zel_prof.h"

namespace Ormo::Testing {
namespace {

using Floats = std::vector<float>;
using Options = std::map<ox::TarnString, ox::TarnString>;
using Nodes = std::vector<std::shared_ptr<ox::Node>>;

ox::Graph LoadGraph(const std::string& text) {
  TempDirectory directory;
  WriteFile(directory / "graph", text);
  std::shared_ptr<ox::ComputeGraph> graph;
  EXPECT_TRUE(ox::GraphUtils::LoadOXGraph((directory / "graph").c_str(), graph));
  return ox::Graph(graph);
}

// A graph that adds what it is given to itself.
const std::string DOUBLING =
    Graph({Node("x", "Data", "", {-1}), Node("twice", "Add", "\"x\", \"x\"", {-1})});

ox::Tensor MakeTensor(const Floats& values) {
  std::vector<uint8_t> bytes(values.size() * sizeof(float));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return {ox::TensorDesc({static_cast<int64_t>(values.size())}, ox::FORMAT_ND, ox::DT_FLOAT),
          bytes};
}

Floats ReadTensor(const ox::Tensor& tensor) {
  Floats values(tensor.GetData().size() / sizeof(float));
  std::memcpy(values.data(), tensor.GetData().data(), tensor.GetData().size());
  return values;
}

struct Completion {
  uint32_t status;
  std::vector<ox::Tensor> outputs;
  std::thread::id thread;
};

class SessionTest : public PlatformTest {
 protected:
  void TearDown() override {
    session_.reset();
    PlatformTest::TearDown();
  }

  // Waits for the callback; throws std::future_error when it was destroyed without a call.
  Completion Run(uint32_t id, const std::vector<ox::Tensor>& inputs) {
    auto promise = std::make_shared<std::promise<Completion>>();
    std::future<Completion> future = promise->get_future();
    auto callback = [promise](uint32_t status, std::vector<ox::Tensor>& outputs) {
      promise->set_value({status, outputs, std::this_thread::get_id()});
    };
    promise = nullptr;
    EXPECT_EQ(session_->RunGraphAsync(id, inputs, std::move(callback)), 0U);
    return future.get();
  }

  std::unique_ptr<ox::Session> session_ = std::make_unique<ox::Session>();
};

TEST_F(SessionTest, RunsOnItsOwnThreadWithTheShapesOfItsInputs) {
  ASSERT_EQ(session_->AddGraph(7, LoadGraph(DOUBLING), {}), 0U);
  for (const Floats& values : {Floats{1, 2, 3}, Floats{4}}) {
    const Completion run = Run(7, {MakeTensor(values)});
    EXPECT_EQ(run.status, 0U);
    EXPECT_NE(run.thread, std::this_thread::get_id());
    ASSERT_THAT(run.outputs, SizeIs(1));
    EXPECT_THAT(run.outputs[0].GetTensorDesc().GetShape(), ElementsAre(values.size()));
    EXPECT_EQ(run.outputs[0].GetTensorDesc().GetDataType(), ox::DT_FLOAT);
    EXPECT_EQ(ReadTensor(run.outputs[0]), (values.size() == 1 ? Floats{8} : Floats{2, 4, 6}));
  }
}

TEST_F(SessionTest, IdsAreUniqueOverAllSessions) {
  const ox::Graph graph = LoadGraph(DOUBLING);
  ox::Session other;
  ASSERT_EQ(session_->AddGraph(7, graph, {}), 0U);
  EXPECT_NE(session_->AddGraph(7, graph, {}), 0U);
  EXPECT_NE(other.AddGraph(7, graph, {}), 0U);
  EXPECT_NE(other.RemoveGraph(7), 0U);
  EXPECT_NE(other.RunGraphAsync(7, {}, [](uint32_t, std::vector<ox::Tensor>&) { FAIL(); }), 0U);
  EXPECT_EQ(session_->RemoveGraph(7), 0U);
  EXPECT_NE(session_->RemoveGraph(7), 0U);
  EXPECT_EQ(other.AddGraph(7, graph, {}), 0U);
}

// The rules for files hold for graphs that are built in memory too.
TEST_F(SessionTest, WhatCannotBeCompiledIsRefusedWithItsReason) {
  auto makeDesc = [](const std::vector<int64_t>& dims, ox::DataType type) {
    auto desc = std::make_shared<ox::OpDesc>();
    desc->SetOutputDesc({ox::OxShape(dims), ox::FORMAT_ND, type});
    return desc;
  };
  auto makeNode = [](const std::string& name, const std::shared_ptr<ox::OpDesc>& desc,
                     const std::vector<std::string>& inputs = {}) {
    return std::make_shared<ox::Node>(name, "Const", desc, inputs);
  };
  const auto good = makeDesc({2}, ox::DT_FLOAT);
  good->SetAttr("fill", 0.5);
  const std::tuple<const char*, Nodes, Options> cases[] = {
      {"node \"a\": expected a description", {makeNode("a", nullptr)}, {}},
      {"node \"a\", key \"name\"", {makeNode("a", good), makeNode("a", good)}, {}},
      {"key \"name\"", {makeNode("", good)}, {}},
      {"node \"a\", key \"inputs\"", {makeNode("a", good, {"b"}), makeNode("b", good)}, {}},
      {"node \"a\", key \"shape\"", {makeNode("a", makeDesc({-2}, ox::DT_FLOAT))}, {}},
      {"node \"a\", key \"dtype\"", {makeNode("a", makeDesc({1}, ox::DT_UNDEFINED))}, {}},
      {"at least one node", {}, {}},
      {"key \"ox.stepRecords\"", {makeNode("a", good)}, {{"ox.stepRecords", "on"}}},
      {"key \"ox.save\"", {makeNode("a", good)}, {{"ox.save", "all"}}},
  };
  for (const auto& [reason, nodes, options] : cases) {
    const ox::Graph graph(std::make_shared<ox::ComputeGraph>(nodes));
    EXPECT_NE(session_->AddGraph(1, graph, options), 0U) << reason;
    EXPECT_THAT(Reason(), HasSubstr(reason));
  }
  EXPECT_NE(session_->AddGraph(1, ox::Graph(), {}), 0U);
  auto relu = std::make_shared<ox::Node>("r", "Relu", makeDesc({2}, ox::DT_FLOAT),
                                         std::vector<std::string>{"a"});
  const ox::Graph graph(std::make_shared<ox::ComputeGraph>(Nodes{makeNode("a", good), relu}));
  EXPECT_EQ(session_->AddGraph(1, graph, {{"ox.stepRecords", ""}, {"of another engine", "x"}}), 0U);
  EXPECT_THAT(ReadTensor(Run(1, {}).outputs.at(0)), ElementsAre(0.5F, 0.5F));
}

TEST_F(SessionTest, WhatDoesNotFitFailsTheExecutionAndTellsWhoStartedIt) {
  ASSERT_EQ(session_->AddGraph(7, LoadGraph(DOUBLING), {}), 0U);
  EXPECT_NE(Run(7, {}).status, 0U);
  EXPECT_THAT(Reason(), HasSubstr("1 input buffers"));
  const ox::Tensor shapeless(ox::TensorDesc({-1}, ox::FORMAT_ND, ox::DT_FLOAT),
                             std::vector<uint8_t>(4));
  EXPECT_NE(Run(7, {shapeless}).status, 0U);
  EXPECT_THAT(Reason(), HasSubstr("graph 7: node \"x\""));
  EXPECT_EQ(Run(7, {MakeTensor({1})}).status, 0U);
  OrmoHost::SetMemorySize(2560);  // 1024 are the graph's, 512 work memory
  EXPECT_EQ(Run(7, {MakeTensor(Floats(385))}).status, 207001U);
  EXPECT_THAT(Reason(), HasSubstr("EH0002: graph 7: expected room for 1540 bytes on device 0"));
  EXPECT_EQ(Run(7, {MakeTensor(Floats(256))}).status, 0U);
}

TEST_F(SessionTest, AnAllocationThatFailsInTheEngineFailsNothingButTheExecution) {
  ASSERT_EQ(session_->AddGraph(7, LoadGraph(DOUBLING), {{"ox.save", "outputs"}}), 0U);
  session_->RegisterCallBackFunc("Save", [](uint32_t, const auto&) { return 0U; });
  const std::string text(100, 'x');
  const std::vector<ox::Tensor> none;
  const std::vector<ox::Tensor> one = {MakeTensor({1})};
  for (const auto& [inputs, inARow] : {std::pair(none, 1), {one, 1}, {one, 50}}) {
    int64_t executions = 0;
    for (bool hasFailed = true; hasFailed;) {
      ErrorManager::GetInstance().SetErrorContext({1, text, text, text});
      const FailingAllocation failing(++executions, inARow, true);
      const auto status = std::make_shared<std::promise<uint32_t>>();
      bool isDone = false;
      try {
        session_->RunGraphAsync(7, inputs,
                                [status](uint32_t code, const auto&) { status->set_value(code); });
        isDone = status->get_future().get() == 0;
      } catch (const std::bad_alloc&) {
      }
      hasFailed = failing.HasFailed();
      EXPECT_EQ(isDone, !hasFailed && !inputs.empty()) << executions;
    }
    EXPECT_GT(executions, 5);
  }
}

TEST_F(SessionTest, ItsEndWaitsForAllExecutionsAndReleasesItsGraphs) {
  ASSERT_EQ(session_->AddGraph(
                7, LoadGraph(Graph({Node("spin", "Spin", "", {1}, "\"ns\": 100000")})), {}),
            0U);
  std::atomic<int> calls{0};
  for (int i = 0; i < 20; ++i) {
    session_->RunGraphAsync(
        7, {}, [&](uint32_t status, std::vector<ox::Tensor>&) { calls += status == 0 ? 1 : 100; });
  }
  session_->RemoveGraph(7);
  session_.reset();
  EXPECT_EQ(calls, 20);
  EXPECT_EQ(OrmoHost::Alive().sessions, 0U);
  EXPECT_EQ(OrmoHost::Alive().deviceBytes, 0U);
}

TEST_F(SessionTest, SessionsSpreadOverTheDevices) {
  OrmoHost::SetMemorySize(1 << 20);
  const std::string large = Graph(
      {Node("w", "Const", "", {200000}, "\"fill\": 1"), Node("out", "Relu", "\"w\"", {200000})});
  ox::Session second;
  EXPECT_EQ(session_->AddGraph(1, LoadGraph(large), {}), 0U);
  EXPECT_EQ(second.AddGraph(2, LoadGraph(large), {}), 0U);
  ox::Session third;
  EXPECT_EQ(third.AddGraph(3, LoadGraph(large), {}), 207001U);
  EXPECT_THAT(Reason(), HasSubstr("room for 800000 bytes on device 0"));
}

TEST_F(SessionTest, UnknownGraphsCannotBeSubscribedAndAResetTakesGraphsAway) {
  int32_t fd = 1;
  zelprofSubscribeConfig* config =
      zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &fd);
  EXPECT_NE(zelgrphProfGraphSubscribe(7, config), 0);
  EXPECT_NE(zelgrphProfGraphUnSubscribe(7), 0);
  ASSERT_EQ(session_->AddGraph(7, LoadGraph(DOUBLING), {}), 0U);
  EXPECT_NE(zelgrphProfGraphUnSubscribe(7), 0);
  EXPECT_EQ(zelgrphProfGraphSubscribe(7, config), 0);
  EXPECT_NE(zelgrphProfGraphSubscribe(7, config), 0);
  EXPECT_EQ(zelgrphProfGraphUnSubscribe(7), 0);
  EXPECT_EQ(zelprofDestroySubscribeConfig(config), 0);
  OrmoHost::Reset();
  EXPECT_NE(session_->RemoveGraph(7), 0U);
  SetUp();
}

}  // namespace
}  // namespace Ormo::Testing
