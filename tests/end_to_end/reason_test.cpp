// Why calls fail, through plain calls and through detailed ones.
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "ormo/ormo_error_manager.h"
#include "support/detail_test.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

enum class Path { ONCE, LOADED, GRAPH, OPERATOR };

// What a call is given, on whichever path.
struct Call {
  RunnerConfig config;
  uint32_t modelId = 0;
  std::string request;
};

struct Failure {
  Path path;
  std::string reason;  // how the library's own begins
  std::function<void(Call&)> prepare;
  std::string reported = {};  // what the error manager has beside it
};

class ReasonTest : public DetailTest {
 protected:
  int RunPlain(Path path, Call& call) {
    switch (path) {
      case Path::ONCE:
        return OrmoOfflineRun(call.config, result_);
      case Path::LOADED:
        return OrmoOfflineRunModel(call.modelId, call.config, result_);
      case Path::GRAPH:
        return OrmoOnlineRun(graph_, call.config, results_);
      default:
        return OrmoZelnnRun(MakeOpConfig(call.request), result_);
    }
  }

  int RunDetailed(Path path, Call& call) {
    switch (path) {
      case Path::ONCE:
        return OrmoOfflineRunDetailed(call.config, request_, result_, detail_);
      case Path::LOADED:
        return OrmoOfflineRunModelDetailed(call.modelId, call.config, request_, result_, detail_);
      case Path::GRAPH:
        return OrmoOnlineRunDetailed(graph_, call.config, request_, results_, detail_);
      default:
        return RunOperator(1, call.request);
    }
  }

  // One that fails for `failure`.
  Call Prepare(const Failure& failure) {
    Call call;
    call.config = MakeConfig();
    call.config.modelData = AsBuffer(model_);
    failure.prepare(call);
    return call;
  }

  static std::string TakeErrors() { return OrmoErrorManager::GetInstance().OrmoGetErrorMessage(); }

  const std::string model_ = AddGraph(8, 1);
  const std::vector<float> floats_ = std::vector<float>(8);
  ox::Graph graph_;
};

TEST_F(ReasonTest, EveryKindOfFailureHasOneOfItsOwn) {
  graph_ = LoadGraph(model_);
  OrmoHost::SetMemorySize(size_t{64} << 20);
  const std::string large = AddGraph(size_t{1} << 26, 1);
  const std::string medium = AddGraph(2048, 1);
  const auto failing = [](const char* function) {
    return [function](Call& /*call*/) { OrmoHost::Fail(function, 1, 9); };
  };
  const auto asking = [](const std::string& request) {
    return [request](Call& call) { call.request = request; };
  };
  std::string layout = AttentionRequest();
  layout.replace(layout.find("BSH"), 3, "BSX");
  const Failure failures[] = {
      {Path::ONCE, "The number of input 2 is not equal to model input num 1",
       [&](Call& call) {
         call.config.inputs = {AsBuffer(floats_), AsBuffer(floats_)};
       }},
      {Path::ONCE, "Invalid output[0] size : 0 byte(s)",
       [](Call& call) { call.config.outputs = {{}}; }},
      {Path::ONCE, "Get input index by name failed",
       [](Call& call) { call.config.dynamicType = "any"; }},
      {Path::ONCE,
       "Not enough device memory: ", [&](Call& call) { call.config.modelData = AsBuffer(large); }},
      {Path::ONCE, "Execute model failed, ret : 9", failing("zelmdlExecute")},
      {Path::ONCE, "Zel profiling subscribe failed with ret 9", failing("zelprofModelSubscribe")},
      {Path::ONCE, "Get op number failed, err : 9", failing("zelprofGetOpNum")},
      {Path::ONCE, "Zel query memory size failed",
       [](Call& call) { call.config.modelData.size = 5; }, "EH0001: "},
      {Path::ONCE, "Execute model failed, ret : 9",  // and not why the load took another way
       [&](Call& call) {
         call.config.modelData = AsBuffer(medium);
         call.config.runMode = RunMode::PREVIOUS_MEMORY;
         OrmoHost::OnCall("zelmdlLoadFromMemWithMem", 1, [] {
           OrmoErrorManager::GetInstance().OrmoReportInterErrorMessage("E2", "made up for");
         });
         OrmoHost::Fail("zelmdlLoadFromMemWithMem", 1, 9);
         OrmoHost::Fail("zelmdlExecute", 1, 9);
       }},
      {Path::LOADED, "No model of id 999 is loaded", [](Call& call) { call.modelId = 999; }},
      {Path::GRAPH, "There is no session", [](Call& call) { call.config.session = nullptr; }},
      {Path::GRAPH, "Add graph=", failing("Session::AddGraph")},
      {Path::GRAPH, "Execution 0 took ", [](Call& call) { call.config.runTimeBound = 1; }},
      {Path::OPERATOR, "The operator's request is not JSON", asking("{")},
      {Path::OPERATOR, "Can not find op_type in json", asking("{}")},
      {Path::OPERATOR, "The operator's request has no array \"attrs\"",
       asking(R"({"op_type":"Any","inputs":[],"outputs":[]})")},
      {Path::OPERATOR, "There is no operator \"Any\"", asking(Request("", "", ""))},
      {Path::OPERATOR, "OrmoZelnnFlashAttentionScoreGetWorkspaceSize failed", asking(layout),
       "EH0003: "},
  };
  OrmoErrorManager& manager = OrmoErrorManager::GetInstance();
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.reason);
    Call call = Prepare(failure);
    EXPECT_NE(RunPlain(failure.path, call), STATUS_SUCCESS);
    EXPECT_THAT(OrmoGetFailureReason(), StartsWith(failure.reason));
    EXPECT_THAT(TakeErrors(), HasSubstr(failure.reported));
    const uint64_t stream = manager.OrmoGetErrorContext().workStreamId;
    manager.OrmoReportInterErrorMessage("E1", "of before");
    call = Prepare(failure);
    EXPECT_NE(RunDetailed(failure.path, call), STATUS_SUCCESS);
    EXPECT_THAT(detail_.reason,
                StartsWith(failure.reported.empty() ? failure.reason : failure.reported));
    EXPECT_THAT(OrmoGetFailureReason(), StartsWith(failure.reason));
    EXPECT_EQ(TakeErrors(), "E1: of before");
    EXPECT_EQ(manager.OrmoGetErrorContext().workStreamId, stream);
  }
  RunnerConfig config = Testing::MakeConfig(model_, false);
  EXPECT_EQ(OrmoOfflineRun(config, result_), STATUS_SUCCESS);
  EXPECT_STREQ(OrmoGetFailureReason(), "");
}

TEST_F(ReasonTest, WhatCannotBeAskedForIsSaid) {
  request_.deviceId = 4;
  EXPECT_EQ(RunOffline(false), STATUS_FAILED);
  EXPECT_EQ(detail_.reason, "Device [4] has no worker");
  EXPECT_EQ(detail_.deviceId, ANY_DEVICE_ID);
  ModelInfo model;
  model.modelData = AsBuffer(model_);
  EXPECT_EQ(OrmoOfflineLoadOnDevice(model, 4), STATUS_FAILED);
  EXPECT_STREQ(OrmoGetFailureReason(), "Device [4] has no worker");
  model.runMode = RunMode::NO_MEMORY_CHECK;
  OrmoHost::RecordCalls();
  ASSERT_EQ(OrmoOfflineLoadOnDevice(model, 3), STATUS_SUCCESS);
  EXPECT_EQ(OrmoHost::CallCount("zelrtGetMemInfo"), 0U);
  EXPECT_EQ(model.deviceId, 3U);
  RunnerConfig config;
  request_.deviceId = 2;
  result_ = MakeStaleResult();
  EXPECT_EQ(OrmoOfflineRunModelDetailed(model.modelId, config, request_, result_, detail_),
            STATUS_INVALID_PARAM);
  EXPECT_EQ(detail_.reason,
            "Model " + std::to_string(model.modelId) + " is on device [3], not on device [2]");
  EXPECT_EQ(result_.totalCostTime, MakeStaleResult().totalCostTime);
  request_.deviceId = ANY_DEVICE_ID;
  EXPECT_EQ(OrmoOfflineRunModelDetailed(model.modelId, config, request_, result_, detail_),
            STATUS_SUCCESS);
  EXPECT_EQ(detail_.deviceId, 3U);
  OrmoOfflineUnloadModel(model.modelId);
  uint32_t count = 0;
  EXPECT_EQ(OrmoGetDeviceCount(count), STATUS_SUCCESS);
  EXPECT_EQ(count, 4U);
  Finalize();
  EXPECT_EQ(RunOffline(false), STATUS_FAILED);
  EXPECT_EQ(detail_.reason, "Offline runner has not been initialized");
  EXPECT_EQ(OrmoGetDeviceCount(count), STATUS_FAILED);
  EXPECT_EQ(count, 4U);
}

TEST_F(ReasonTest, ADeviceThatCannotBeLockedIsNone) {
  OrmoHost::Fail("mmOpen2", 1, -1);
  OrmoHost::Fail("zelmdlExecute", 1, 9);
  EXPECT_EQ(RunOffline(false), STATUS_EXECUTE_FAILED);
  EXPECT_FALSE(detail_.isLockHeld);
  EXPECT_EQ(detail_.reason, "Execute model failed, ret : 9");
}

TEST_F(ReasonTest, ALongOneIsCutBetweenCharacters) {
  for (size_t i = 0; i < 3; ++i) {
    std::string name(i, '.');
    while (name.size() < 2000) {
      name += "\xE2\x82\xAC";
    }
    EXPECT_EQ(RunOperator(1, Request("", "", "", name)), STATUS_FAILED);
    const std::string whole = "There is no operator \"" + name + "\"";
    EXPECT_EQ(whole.compare(0, detail_.reason.size(), detail_.reason), 0);
    EXPECT_GE(detail_.reason.size(), 1021U);
    EXPECT_EQ(detail_.reason.back(), '\xAC');
  }
}

TEST_F(ReasonTest, ThreadsThatShareAWorkStreamGetTheirOwn) {
  constexpr size_t THREADS = 16;
  constexpr size_t CALLS = 125;
  const uint64_t stream = OrmoErrorManager::GetInstance().OrmoGetErrorContext().workStreamId;
  std::vector<std::thread> threads;
  for (size_t thread = 0; thread < THREADS; ++thread) {
    threads.emplace_back([this, thread, stream] {
      EXPECT_EQ(OrmoErrorManager::GetInstance().OrmoGetErrorContext().workStreamId, stream);
      for (size_t call = 0; call < CALLS; ++call) {
        const std::string own = std::to_string(thread * CALLS + call + 100);
        RunDetail detail;
        RunnerResult result;
        RunnerConfig config = Testing::MakeConfig(model_, thread % 2 == 0);
        std::string reason = own;
        switch (call % 4) {
          case 0:  // the library's own, before anything is queued
            reason = "No model of id " + own + " is loaded";
            OrmoOfflineRunModelDetailed(static_cast<uint32_t>(std::stoul(own)), config, request_,
                                        result, detail);
            break;
          case 1:  // of a worker
            reason = "Invalid input[0] size: " + own + " byte(s), but expect size: 32 byte(s)";
            config.inputs = {AsBuffer(floats_)};
            config.inputs[0].size = std::stoul(own);
            OrmoOfflineRunDetailed(config, request_, result, detail);
            break;
          case 2:
            reason = "There is no operator \"Op" + own + "\"";
            OrmoZelnnRunDetailed(MakeOpConfig(Request("", "", "", "Op" + own)), request_, result,
                                 detail);
            break;
          default: {  // the error manager's
            const std::string unknown = Testing::Graph(
                {Node("data", "Data", "", {1}), Node("Op" + own, "None", R"("data")", {1})});
            config.modelData = AsBuffer(unknown);
            reason = "Op" + own;
            OrmoOfflineRunDetailed(config, request_, result, detail);
          }
        }
        EXPECT_THAT(detail.reason, HasSubstr(reason));
        EXPECT_EQ(detail.reason.find("of id") != std::string::npos, call % 4 == 0);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST_F(ReasonTest, WhoeverFinalisesWaitsUntilItIsTaken) {
  for (const Path path : {Path::ONCE, Path::GRAPH, Path::OPERATOR}) {
    std::promise<void> isTaking;
    std::atomic<bool> isTaken{false};
    OrmoHost::OnCall("ErrorManager::GetErrorMessage", 1, [&] {
      isTaking.set_value();
      // As good as for ever for a finalisation that does not wait.
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      isTaken = true;
    });
    std::thread caller([&] {
      Call call;
      RunDetailed(path, call);
    });
    isTaking.get_future().wait();
    path == Path::ONCE    ? OrmoOfflineRunnerFinalize()
    : path == Path::GRAPH ? OrmoOnlineRunnerFinalize()
                          : OrmoZelnnRunnerFinalize();
    EXPECT_TRUE(isTaken);
    caller.join();
  }
}

}  // namespace
}  // namespace Ormo::Testing
