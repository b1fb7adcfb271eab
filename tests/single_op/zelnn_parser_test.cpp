#include "single_op/zelnn_parser.h"

#include "common/file_descriptor.h"
#include "ormo/status.h"
#include "profiling/fake_records.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

class ZelnnParserTest : public ::testing::Test {
 protected:
  void WriteExecution(uint64_t start, uint64_t end, uint64_t aicore) {
    WriteRecord(pipe_.writeEnd.Get(), Step(start, end));
    WriteRecord(pipe_.writeEnd.Get(), Op("op", start, end, aicore));
  }

  int Analyse() {
    pipe_.writeEnd.Reset();
    std::promise<int> run;
    std::future<int> future = run.get_future();
    return ZelnnParser::Analysis(pipe_.readEnd.Get(), future, result_);
  }

  Pipe pipe_ = Pipe::Open();
  RunnerResult result_ = {5, 6, {{"kept", 7}, {"op", 8}}, {}};
};

TEST_F(ZelnnParserTest, OfTenExecutionsTheMiddleSixCount) {
  const uint64_t costs[] = {9000, 10, 20, 30, 40, 50, 60, 1, 8000, 2};
  uint64_t start = 100000;
  for (const uint64_t cost : costs) {
    WriteExecution(start, start + cost, cost / 2);
    start += 10000;
  }
  EXPECT_EQ(Analyse(), STATUS_SUCCESS);
  EXPECT_EQ(result_.totalCostTime, 35U);
  EXPECT_EQ(result_.runCostTime, 6U) << "not the parser's";
  EXPECT_THAT(result_.opCostTimes, ElementsAre(Pair("kept", 7), Pair("op", 35)));
  EXPECT_THAT(result_.aicoreCostTimes, ElementsAre(Pair("op", 17)));
}

TEST_F(ZelnnParserTest, OfTwoExecutionsTheFasterCountsAndEachHasItsLines) {
  LogCapture log(DLOG_INFO);
  WriteExecution(10, 30, 7);
  WriteExecution(40, 50, 9);
  EXPECT_EQ(Analyse(), STATUS_SUCCESS);
  EXPECT_EQ(result_.totalCostTime, 10U);
  EXPECT_THAT(result_.aicoreCostTimes, ElementsAre(Pair("op", 7)));
  for (const char* figure : {"aicore time 7", "op cost time 20", "aicore time 9"}) {
    EXPECT_EQ(log.Find(figure + std::string(" (ns)")).file, "zelnn_parser.cpp") << figure;
  }
}

TEST_F(ZelnnParserTest, AnExecutionWithoutLengthIsAFailureOfTheParser) {
  LogCapture log(DLOG_WARN);
  WriteExecution(10, 30, 7);
  WriteRecord(pipe_.writeEnd.Get(), Step(40, 50));
  WriteRecord(pipe_.writeEnd.Get(), Op("stray", 60, 70));
  EXPECT_EQ(Analyse(), STATUS_PROFILING_FAILED);
  EXPECT_EQ(result_.totalCostTime, 5U);
  for (const char* text :
       {"Of 2 operators 1 lie in no execution", "Get running result by step failed",
        "Get total cost time failed", "Get runner result failed"}) {
    EXPECT_EQ(log.Find(text).file, "zelnn_parser.cpp") << text;
  }
}

}  // namespace
}  // namespace Ormo::Testing
