#include "profiling/offline_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "common/file_descriptor.h"
#include "ormo/status.h"
#include "profiling/fake_records.h"

namespace Ormo {
namespace {

using Test::FakeRecord;
using Test::Op;
using Test::Step;
using Test::WriteRecord;
using ::testing::ElementsAre;
using ::testing::Pair;

class OfflineParserTest : public ::testing::Test {
 protected:
  int Analyse() {
    pipe_.writeEnd.Reset();
    std::promise<int> run;
    std::future<int> future = run.get_future();
    return OfflineParser().Analysis(pipe_.readEnd.Get(), future, result_);
  }

  void Write(const FakeRecord& record) { WriteRecord(pipe_.writeEnd.Get(), record); }

  Pipe pipe_ = Pipe::Open();
  RunnerResult result_;
};

TEST_F(OfflineParserTest, TenExecutionsAverageWithoutTheirOutliers) {
  for (uint64_t i = 1; i <= 10; ++i) {
    const uint64_t start = i * 1000;
    Write(Step(start, start + 900));
    Write(Op("matmul", start, start + i, 10 * i));
    Write(Op("relu", start + 100, start + 200 + 100 * i / 10, 1));
  }
  EXPECT_EQ(Analyse(), STATUS_SUCCESS);
  EXPECT_EQ(result_.totalCostTime, 255U);  // 230 to 280 in the middle six
  EXPECT_THAT(result_.opCostTimes, ElementsAre(Pair("matmul", 5), Pair("relu", 155)));
  EXPECT_THAT(result_.aicoreCostTimes, ElementsAre(Pair("matmul", 55), Pair("relu", 1)));
}

TEST_F(OfflineParserTest, AnOperatorOutsideEveryExecutionCountsForItselfOnly) {
  Write(Step(10, 30));
  Write(Op("a", 10, 30));
  Write(Op("stray", 100, 900));
  EXPECT_EQ(Analyse(), STATUS_SUCCESS);
  EXPECT_EQ(result_.totalCostTime, 20U);
  EXPECT_THAT(result_.opCostTimes, ElementsAre(Pair("a", 20), Pair("stray", 800)));
}

TEST_F(OfflineParserTest, AStreamWithoutOperatorsLeavesTheResultAlone) {
  result_.totalCostTime = 5;
  result_.opCostTimes["kept"] = 6;
  Write(Step(10, 30));
  EXPECT_EQ(Analyse(), STATUS_SUCCESS);
  EXPECT_EQ(result_.totalCostTime, 5U);
  EXPECT_THAT(result_.opCostTimes, ElementsAre(Pair("kept", 6)));
}

TEST_F(OfflineParserTest, AnEmptyExecutionFailsTheWholeResult) {
  Write(Step(10, 30));
  Write(Op("a", 10, 30));
  Write(Step(40, 50));
  EXPECT_EQ(Analyse(), STATUS_PROFILING_FAILED);
  EXPECT_EQ(result_.totalCostTime, 0U);
  EXPECT_TRUE(result_.opCostTimes.empty());
}

}  // namespace
}  // namespace Ormo
