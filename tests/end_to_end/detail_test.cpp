// What a tuner learns about a run beyond its status and result.
#include "support/detail_test.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <future>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ormo/ormo_error_manager.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

using OrmoHost::RecordFault;

uint64_t Mean(const std::vector<uint64_t>& values) {
  return std::accumulate(values.begin(), values.end(), uint64_t{0}) / values.size();
}

std::vector<uint64_t> Costs(const std::vector<RunnerRunResult>& executions) {
  std::vector<uint64_t> costs;
  costs.reserve(executions.size());
  for (const RunnerRunResult& execution : executions) {
    costs.push_back(execution.modelInfos.at(0).costTime);
  }
  return costs;
}

TEST_F(DetailTest, ARunTellsWhereItWasAndEachOfItsExecutions) {
  constexpr uint32_t LOOP = 5;

  struct Run {
    const char* name;
    std::function<int()> run;
    uint32_t device;
    uint32_t loop;
    size_t operators;  // 0: not profiled
  };

  const Run runs[] = {
      {"offline", [this] { return RunOffline(false, LOOP); }, 2, LOOP, 0},
      {"offline, profiled", [this] { return RunOffline(true, LOOP); }, 2, LOOP, 2},
      {"online", [this] { return RunOnline(false, LOOP); }, ANY_DEVICE_ID, 1, 0},
      {"online, profiled", [this] { return RunOnline(true, LOOP); }, ANY_DEVICE_ID, LOOP, 2},
      {"operator", [this] { return RunOperator(LOOP); }, 2, LOOP, 1}};
  request_.deviceId = 2;
  for (const Run& run : runs) {
    SCOPED_TRACE(run.name);
    result_ = {};
    detail_.reason = "of before";
    detail_.wallTimes = {1, 2, 3};
    detail_.operatorsOutside = 7;
    ASSERT_EQ(run.run(), STATUS_SUCCESS) << detail_.reason;
    EXPECT_EQ(detail_.deviceId, run.device);
    EXPECT_EQ(detail_.reason, "");
    EXPECT_EQ(detail_.executionsBegun, run.loop);
    EXPECT_THAT(detail_.wallTimes, AllOf(SizeIs(run.loop), Each(::testing::Gt(0U))));
    EXPECT_TRUE(detail_.isLockHeld);
    EXPECT_FALSE(detail_.isBoundReached || detail_.isCancelled);
    const size_t executions = run.operators == 0 ? 0 : run.loop;
    ASSERT_THAT(detail_.executions, SizeIs(executions));
    ASSERT_THAT(detail_.executionStarts, SizeIs(executions));
    ASSERT_THAT(detail_.executionEnds, SizeIs(executions));
    for (size_t i = 0; i < executions; ++i) {
      const std::vector<RunnerOpInfo>& operators = detail_.executions[i].opInfos;
      ASSERT_THAT(operators, SizeIs(run.operators));
      EXPECT_LE(detail_.executionStarts[i], operators.front().startTime);
      EXPECT_GE(detail_.executionEnds[i], operators.back().endTime);
      EXPECT_EQ(Costs(detail_.executions)[i],
                operators.back().endTime - operators.front().startTime);
    }
    EXPECT_EQ(detail_.operatorsOutside, 0U);
    if (result_.totalCostTime != 0) {  // of the offline model and of the operator
      EXPECT_EQ(result_.totalCostTime,
                Mean(executions == 0 ? detail_.wallTimes : Costs(detail_.executions)));
    }
    if (result_.runCostTime != 0) {
      EXPECT_EQ(result_.runCostTime, Mean(detail_.wallTimes));
    }
  }
}

TEST_F(DetailTest, LostRecordsShowByTheirExecutions) {
  // Of each execution: its two operators, then its mark.
  OrmoHost::FaultRecord(2, RecordFault::LOST);
  OrmoHost::FaultRecord(6, RecordFault::LOST);
  ASSERT_EQ(RunOffline(true, 3), STATUS_SUCCESS);
  EXPECT_EQ(detail_.executionsBegun, 3U);
  ASSERT_THAT(detail_.executions, SizeIs(2));
  EXPECT_THAT(detail_.executions[0].opInfos, SizeIs(1));
  EXPECT_THAT(detail_.executions[1].opInfos, SizeIs(2));
  EXPECT_EQ(detail_.operatorsOutside, 2U);
  // Records that cannot be read end the run, and what came before them is there.
  OrmoHost::FaultRecord(5, RecordFault::WITHOUT_START);
  EXPECT_EQ(RunOffline(true, 3), STATUS_PROFILING_FAILED);
  EXPECT_EQ(detail_.reason, "Profiling data of op start or stop time parser exception");
  EXPECT_THAT(detail_.executions, SizeIs(1));
  EXPECT_EQ(detail_.operatorsOutside, 1U);
  EXPECT_THAT(detail_.wallTimes, SizeIs(3));
  // A graph whose executions nobody marks.
  RunnerConfig config = MakeConfig(3);
  config.options = {{"ox.stepRecords", "off"}};
  EXPECT_EQ(
      OrmoOnlineRunDetailed(LoadGraph(AddGraph(8, 1, 2)), config, request_, results_, detail_),
      STATUS_SUCCESS);
  EXPECT_THAT(detail_.executions, SizeIs(3));
  EXPECT_EQ(Costs(detail_.executions), Costs(results_));
  EXPECT_THAT(detail_.executionStarts, IsEmpty());
  EXPECT_EQ(detail_.operatorsOutside, 0U);
  config.runTimeBound = 1;
  EXPECT_EQ(
      OrmoOnlineRunDetailed(LoadGraph(AddGraph(8, 1, 2)), config, request_, results_, detail_),
      STATUS_FAILED);
  ASSERT_THAT(detail_.executions, SizeIs(detail_.executionsBegun));
  EXPECT_GT(Costs(detail_.executions)[0], 0U);
  EXPECT_EQ(detail_.operatorsOutside, 0U);
}

TEST_F(DetailTest, TheBoundIsToldWhateverTheStatusIs) {
  const std::string graph = AddGraph(8, 1);
  std::vector<float> output(8);

  struct Run {
    bool prof;
    bool copies;
    int status;
  };

  for (const Run& run : {Run{false, false, STATUS_OUT_OF_BOUND}, Run{false, true, STATUS_SUCCESS},
                         Run{true, false, STATUS_OUT_OF_BOUND}, Run{true, true, STATUS_SUCCESS}}) {
    RunnerConfig config = Testing::MakeConfig(graph, run.prof, 3);
    config.runTimeBound = 1;
    if (run.copies) {
      config.outputs = {AsBuffer(output)};
    }
    EXPECT_EQ(OrmoOfflineRunDetailed(config, request_, result_, detail_), run.status);
    EXPECT_TRUE(detail_.isBoundReached);
    EXPECT_EQ(detail_.boundExecution, 0U);
    ASSERT_THAT(detail_.wallTimes, SizeIs(1));
    EXPECT_EQ(detail_.reason, run.status == STATUS_SUCCESS
                                  ? ""
                                  : "Execution 0 took " + std::to_string(detail_.wallTimes[0]) +
                                        " ns, and the time bound is 1 ns");
  }
}

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

// The records as a caller of the first version has them: all that it can ever pass.
struct FirstRequest {
  uint32_t size = sizeof(FirstRequest);
  uint32_t deviceId = 1;
  ProfilingEnd profilingEnd = ProfilingEnd::BY_CLOSING;
  const CancelToken* cancelToken = nullptr;
};

struct FirstDetail {
  uint32_t size = sizeof(FirstDetail);
  uint32_t deviceId = 0;
  std::string reason;
  std::vector<uint64_t> wallTimes;
  uint32_t executionsBegun = 0;
  uint32_t boundExecution = 0;
  bool isBoundReached = false;
  bool isCancelled = false;
  bool isLockHeld = false;
  uint64_t lockWaitTime = 0;
  std::vector<RunnerRunResult> executions;
  std::vector<uint64_t> executionStarts;
  std::vector<uint64_t> executionEnds;
  uint64_t operatorsOutside = 0;
};

TEST_F(DetailTest, RecordsOfOtherVersionsKeepWorking) {
  struct {
    FirstDetail detail;
    uint64_t beyond = 42;
  } old;

  const FirstRequest request;
  RunnerConfig config = MakeConfig(2);
  const std::string graph = AddGraph(8, 1, 2);
  config.modelData = AsBuffer(graph);
  const auto run = [&](const RunRequest& in, RunDetail& out) {
    return OrmoOfflineRunDetailed(config, in, result_, out);
  };
  EXPECT_EQ(
      run(reinterpret_cast<const RunRequest&>(request), reinterpret_cast<RunDetail&>(old.detail)),
      STATUS_SUCCESS);
  EXPECT_EQ(old.detail.deviceId, 1U);
  EXPECT_THAT(old.detail.executionEnds, SizeIs(2));
  EXPECT_EQ(old.detail.size, sizeof(FirstDetail));
  EXPECT_EQ(old.beyond, 42U);

  // A later one is larger.
  struct {
    RunDetail detail;
    uint64_t beyond = 42;
  } later;

  later.detail.size = sizeof(later);
  EXPECT_EQ(run(request_, later.detail), STATUS_SUCCESS);
  EXPECT_EQ(later.detail.size, sizeof(later));
  EXPECT_EQ(later.beyond, 42U);
  // None was ever smaller.
  detail_.reason = "of before";
  detail_.size = sizeof(FirstDetail) - 1;
  EXPECT_EQ(run(request_, detail_), STATUS_INVALID_PARAM);
  EXPECT_EQ(detail_.reason, "of before");
  detail_.size = sizeof(FirstDetail);
  request_.size = sizeof(FirstRequest) - 1;
  EXPECT_EQ(run(request_, detail_), STATUS_INVALID_PARAM);
  EXPECT_EQ(detail_.reason, "of before");
}

TEST_F(DetailTest, TheRequestSaysHowARunFindsTheEndOfItsRecords) {
  const auto hasWaited = [this](ProfilingEnd end, const char* environment) {
    setenv("ORMO_PROF_END", environment, 1);  // NOLINT(concurrency-mt-unsafe): nobody else asks
    request_.profilingEnd = end;
    const LogCapture log;
    EXPECT_EQ(RunOffline(true), STATUS_SUCCESS);
    return log.Contains(DLOG_INFO, "Cannot get any data after running success, stop waiting.");
  };
  EXPECT_TRUE(hasWaited(ProfilingEnd::BY_WAITING, "close"));
  EXPECT_FALSE(hasWaited(ProfilingEnd::BY_CLOSING, ""));
  EXPECT_FALSE(hasWaited(ProfilingEnd::AS_ENVIRONMENT, "close"));
}

TEST_F(DetailTest, AnExceptionLeavesWhatTheRunHadDone) {
  OrmoHost::Throw("zelmdlExecute", 3);
  request_.deviceId = 1;
  EXPECT_THROW(RunOffline(true, 5), std::runtime_error);
  EXPECT_EQ(detail_.deviceId, 1U);
  EXPECT_EQ(detail_.executionsBegun, 3U);
  EXPECT_THAT(detail_.wallTimes, SizeIs(2));
  EXPECT_TRUE(detail_.isLockHeld);
}

}  // namespace
}  // namespace Ormo::Testing
