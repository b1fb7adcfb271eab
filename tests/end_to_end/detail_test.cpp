// What a tuner learns about a run beyond its status and result.
#include "support/detail_test.h"

#include <functional>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

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
