#include "offline/offline_parser.h"

#include <future>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "common/file_descriptor.h"
#include "ormo/status.h"
#include "profiling/fake_records.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

class OfflineParserTest : public ::testing::Test {
 protected:
  int Analyse() {
    pipe_.writeEnd.Reset();
    std::promise<int> run;
    std::future<int> future = run.get_future();
    return OfflineParser::Analysis(pipe_.readEnd.Get(), future, result_);
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

TEST_F(OfflineParserTest, AStreamWithoutOperatorsLeavesTheResultAlone) {
  result_.totalCostTime = 5;
  result_.opCostTimes["kept"] = 6;
  Write(Step(10, 30));
  EXPECT_EQ(Analyse(), STATUS_SUCCESS);
  EXPECT_EQ(result_.totalCostTime, 5U);
  EXPECT_THAT(result_.opCostTimes, ElementsAre(Pair("kept", 6)));
}

TEST_F(OfflineParserTest, RecordsThatAreLostOrDamagedAreCountedInOneLine) {
  constexpr int FAILED = STATUS_PROFILING_FAILED;
  const FakeRecord a = Op("a", 10, 30);
  const FakeRecord b = Op("b", 40, 50);
  const std::string oneIsNegative =
      "Of 2 operators 0 lie in no execution and 1 end before they start";
  // The records, the status, the total, the costs, and the warning or none.
  const std::tuple<std::vector<FakeRecord>, int, uint64_t, std::map<std::string, uint64_t>,
                   std::string>
      cases[] = {
          {{Step(10, 30), a, Step(40, 50), b}, 0, 10, {{"a", 20}, {"b", 10}}, ""},
          {{a, b}, 0, 0, {{"a", 20}, {"b", 10}}, "Of 2 operators 2 lie in no"},
          {{Step(10, 30), a, b}, 0, 20, {{"a", 20}, {"b", 10}}, "Of 2 operators 1 lie"},
          {{Step(10, 30), a, Op("b", 25, 15)}, 0, 20, {{"a", 20}, {"b", 0}}, oneIsNegative},
          {{Step(10, 30), a, Step(40, 50)}, FAILED, 0, {}, ""},
          {{Step(9, 9), Op("a", 9, 9)}, FAILED, 0, {}, ""},
          {{Step(30, 10), a}, FAILED, 0, {}, "Of 1 operators 1 lie"},
          {{Step(30, 10), Op("a", 30, 10)}, FAILED, 0, {}, "Of 1" + oneIsNegative.substr(4)},
      };
  size_t number = 0;
  for (const auto& [records, status, total, costs, warning] : cases) {
    SCOPED_TRACE(number++);
    LogCapture log(DLOG_WARN);
    pipe_ = Pipe::Open();
    result_ = {};
    for (const FakeRecord& record : records) {
      Write(record);
    }
    EXPECT_EQ(Analyse(), status);
    EXPECT_EQ(result_.totalCostTime, total);
    EXPECT_EQ(result_.opCostTimes, costs);
    for (const auto& [name, cost] : costs) {
      EXPECT_EQ(result_.aicoreCostTimes.at(name) == 0, cost == 0) << name;
    }
    EXPECT_EQ(log.Count(DLOG_WARN, " operators "), warning.empty() ? 0U : 1U);
    if (!warning.empty()) {
      EXPECT_EQ(log.Find(warning).file, "offline_parser.cpp");
    }
  }
}

}  // namespace
}  // namespace Ormo::Testing
