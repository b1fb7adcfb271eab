#include "online/online_parser.h"

#include <string>
#include <utility>
#include <vector>

#include "common/file_descriptor.h"
#include "ormo/status.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

RunnerOpInfo MakeOp(const std::string& name, uint64_t start, uint64_t end) {
  RunnerOpInfo op;
  op.opName = name;
  op.startTime = start;
  op.endTime = end;
  return op;
}

// Operators of one letter each, 10 ns apart and 8 ns long.
ModelOpInfo MakeOps(const std::string& names) {
  ModelOpInfo info;
  uint64_t start = 100;
  for (const char name : names) {
    info.opInfos.push_back(MakeOp(std::string(1, name), start, start + 8));
    start += 10;
  }
  return info;
}

// Each execution's operators and its costs: "AB 18".
std::vector<std::string> Describe(const std::vector<RunnerRunResult>& results) {
  std::vector<std::string> texts;
  for (const RunnerRunResult& result : results) {
    std::string& text = texts.emplace_back();
    for (const RunnerOpInfo& op : result.opInfos) {
      text += op.opName;
    }
    for (const RunnerModelInfo& info : result.modelInfos) {
      text += " " + std::to_string(info.costTime);
    }
  }
  return texts;
}

TEST(OnlineParser, WithoutStepsTheNthOfANameBelongsToTheNthExecution) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"A", {"A 8"}},
      {"ABABAB", {"AB 18", "AB 18", "AB 18"}},
      {"AAB", {"AB 28", "A 8"}},
      {"ABBCBB", {"ABC 38", "B 8", "B 8", "B 8"}},
      {"BAAB", {"BA 18", "AB 18"}},
  };
  for (const auto& [names, executions] : cases) {
    std::vector<RunnerRunResult> results;
    EXPECT_EQ(OnlineParser::GetRunnerRunResult(MakeOps(names), results), STATUS_SUCCESS);
    EXPECT_EQ(Describe(results), executions) << names;
  }
  const LogCapture log(DLOG_ERROR);
  ModelOpInfo info;
  info.opInfos = {MakeOp("A", 5, 5)};
  std::vector<RunnerRunResult> results;
  EXPECT_EQ(OnlineParser::GetRunnerRunResult(info, results), STATUS_PROFILING_FAILED);
  EXPECT_EQ(log.Find("Get model Info failed").file, "online_parser.cpp");
}

TEST(OnlineParser, ByNameExecutionsThatAreThereAreFilledFirst) {
  std::vector<RunnerRunResult> results(2);
  results[0].opInfos = {MakeOp("X", 50, 60)};
  results[1].opInfos = {MakeOp("Y", 70, 80)};
  EXPECT_EQ(OnlineParser::GetRunnerRunResultByOpName(MakeOps("AAAB"), results), STATUS_SUCCESS);
  EXPECT_THAT(Describe(results), ElementsAre("XAB 88", "YA 48", "A 8"));
}

TEST(OnlineParser, StepsGroupWhatLiesWithinThem) {
  LogCapture log(DLOG_WARN);
  ModelOpInfo info = MakeOps("ABABAB");              // 100 to 158
  info.steps = {{95, 128}, {129, 139}, {150, 158}};  // the fifth lies in none
  std::vector<RunnerRunResult> results;
  EXPECT_EQ(OnlineParser::GetRunnerRunResult(info, results), STATUS_SUCCESS);
  EXPECT_THAT(Describe(results), ElementsAre("ABA 28", "B 8", "B 8"));
  EXPECT_THAT(log.Lines(), IsEmpty()) << "executions may go without step records";

  info.steps = {{95, 158}, {300, 400}};
  results.clear();
  EXPECT_EQ(OnlineParser::GetRunnerRunResult(info, results), STATUS_PROFILING_FAILED);
  EXPECT_EQ(log.Messages(DLOG_ERROR).back(), "Get model info by step failed");
}

TEST(OnlineParser, ResultsAreLeftAloneWhenThereIsNothingToRead) {
  std::vector<RunnerRunResult> results(1);
  std::promise<int> run;
  std::future<int> future = run.get_future();
  EXPECT_EQ(OnlineParser::Analysis(-1, future, results), STATUS_FAILED);

  Pipe pipe = Pipe::Open();
  pipe.writeEnd.Reset();
  EXPECT_EQ(OnlineParser::Analysis(pipe.readEnd.Get(), future, results), STATUS_SUCCESS);
  EXPECT_TRUE(future.valid());
  EXPECT_THAT(Describe(results), ElementsAre(IsEmpty()));
}

}  // namespace
}  // namespace Ormo::Testing
