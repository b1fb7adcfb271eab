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
#include "ox/compute_graph.h"
#include "platform/platform_test.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

using Floats = std::vector<float>;
using Options = std::map<ox::TarnString, ox::TarnString>;
using Nodes = std::vector<std::shared_ptr<ox::Node>>;

// A graph that adds what it is given to itself.
const std::string DOUBLING =
    Graph({Node("x", "Data", "", {-1}), Node("twice", "Add", "\"x\", \"x\"", {-1})});

ox::Tensor MakeTensor(const Floats& values) {
  return {ox::TensorDesc({static_cast<int64_t>(values.size())}, ox::FORMAT_ND, ox::DT_FLOAT),
          ToBytes(values)};
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

TEST_F(SessionTest, EveryOutputComesInItsPlaceAndIsSavedUnderItsName) {
  const ox::Graph graph = LoadGraph(
      Graph({Node("x", "Data", "", {-1}), Node("z", "Data", "", {2}),
             Node("twice", "Add", "\"x\", \"x\"", {-1}), Node("relu", "Relu", "\"z\"", {2})}));
  ASSERT_EQ(session_->AddGraph(7, graph, {{"ox.save", "outputs"}}), 0U);
  const std::vector<ox::Tensor> inputs = {MakeTensor({1, 2, 3}), MakeTensor({-4, 5})};
  EXPECT_EQ(Run(7, inputs).status, 0U);  // nobody wants them yet
  std::map<std::string, Floats> saved;
  uint32_t answer = 0;
  auto save = [&](uint32_t id, const std::map<ox::TarnString, ox::Tensor>& tensors) {
    for (const auto& [name, tensor] : tensors) {
      saved[std::to_string(id) + name.GetString()] = ReadTensor(tensor);
    }
    return answer;
  };
  EXPECT_EQ(session_->RegisterCallBackFunc(nullptr, save), 400001U);
  EXPECT_EQ(session_->RegisterCallBackFunc("Load", save), 400001U);
  EXPECT_EQ(session_->RegisterCallBackFunc("Save", save), 0U);
  const Completion run = Run(7, inputs);
  EXPECT_EQ(run.status, 0U);
  ASSERT_THAT(run.outputs, SizeIs(2));
  EXPECT_NE(run.thread, std::this_thread::get_id());
  EXPECT_THAT(run.outputs[0].GetTensorDesc().GetShape(), ElementsAre(3));
  EXPECT_EQ(run.outputs[0].GetTensorDesc().GetDataType(), ox::DT_FLOAT);
  EXPECT_THAT(ReadTensor(run.outputs[0]), ElementsAre(2, 4, 6));
  EXPECT_THAT(ReadTensor(run.outputs[1]), ElementsAre(0, 5));
  EXPECT_THAT(saved,
              ElementsAre(Pair("7relu", ElementsAre(0, 5)), Pair("7twice", ElementsAre(2, 4, 6))));
  answer = 11;
  EXPECT_EQ(Run(7, inputs).status, 11U);
  EXPECT_EQ(session_->RunGraphAsync(7, inputs, nullptr), 400001U);
}

TEST_F(SessionTest, IdsAreUniqueOverAllSessions) {
  const ox::Graph graph = LoadGraph(DOUBLING);
  ox::Session other;
  ASSERT_EQ(session_->AddGraph(7, graph, {}), 0U);
  EXPECT_EQ(session_->AddGraph(7, graph, {}), 415001U);
  EXPECT_EQ(other.AddGraph(7, graph, {}), 415001U);
  EXPECT_EQ(other.RemoveGraph(7), 415002U);
  EXPECT_EQ(other.RunGraphAsync(7, {}, [](uint32_t, const auto&) { FAIL(); }), 415002U);
  EXPECT_EQ(session_->RemoveGraph(7), 0U);
  EXPECT_EQ(session_->RemoveGraph(7), 415002U);
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
    EXPECT_EQ(session_->AddGraph(1, graph, options), 410001U) << reason;
    EXPECT_THAT(Reason(), HasSubstr(reason));
  }
  EXPECT_EQ(session_->AddGraph(1, ox::Graph(), {}), 400001U);
  auto relu = std::make_shared<ox::Node>("r", "Relu", makeDesc({2}, ox::DT_FLOAT),
                                         std::vector<std::string>{"a"});
  const ox::Graph graph(std::make_shared<ox::ComputeGraph>(Nodes{makeNode("a", good), relu}));
  EXPECT_EQ(session_->AddGraph(1, graph, {{"ox.stepRecords", ""}, {"of another engine", "x"}}), 0U);
  EXPECT_THAT(ReadTensor(Run(1, {}).outputs.at(0)), ElementsAre(0.5F, 0.5F));
}

TEST_F(SessionTest, WhatDoesNotFitFailsTheExecutionAndTellsWhoStartedIt) {
  ASSERT_EQ(session_->AddGraph(7, LoadGraph(DOUBLING), {}), 0U);
  EXPECT_EQ(Run(7, {}).status, 410004U);
  EXPECT_THAT(Reason(), HasSubstr("1 input buffers"));
  const ox::Tensor shapeless(ox::TensorDesc({-1}, ox::FORMAT_ND, ox::DT_FLOAT),
                             std::vector<uint8_t>(4));
  EXPECT_EQ(Run(7, {shapeless}).status, 410004U);
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
  OrmoHost::FaultCompletion(1, OrmoHost::CompletionFault::FAILED_STATUS);
  OrmoHost::Reset();  // takes back the fault
  Start();
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
  const ox::Graph graph = LoadGraph(DOUBLING);
  OrmoHost::SetDeviceCount(3);
  OrmoHost::SetMemorySize(0);  // so that each says which device has no room
  std::vector<std::unique_ptr<ox::Session>> sessions;
  std::string devices;
  auto add = [&] {
    sessions.push_back(std::make_unique<ox::Session>());
    EXPECT_EQ(sessions.back()->AddGraph(1, graph, {}), 207001U);
    devices += Reason().back();
  };
  for (int i = 0; i < 4; ++i) {
    add();
  }
  sessions[0].reset();  // both of device 1
  sessions[3].reset();
  add();
  EXPECT_EQ(devices, "12011");
}

}  // namespace
}  // namespace Ormo::Testing
