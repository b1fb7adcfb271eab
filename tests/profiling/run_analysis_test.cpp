// From records to the results of models and of single operators.
#include <fcntl.h>
#include <unistd.h>

#include <future>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "common/file_descriptor.h"
#include "offline/offline_parser.h"
#include "ormo/status.h"
#include "profiling/scripted_stream.h"
#include "single_op/zelnn_parser.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

using Figures = std::map<std::string, uint64_t>;

constexpr uint64_t KEPT = 5;

struct Path {
  const char* file;
  int (*analyse)(int fd, std::future<int>& future, RunnerResult& result);
};

class RunAnalysisTest : public ::testing::TestWithParam<Path> {
 protected:
  int Analyse(const std::vector<Record>& records) {
    pipe_ = Pipe::Open();
    for (const Record& record : records) {
      WriteRecord(pipe_.writeEnd.Get(), record);
    }
    pipe_.writeEnd.Reset();
    result_ = {KEPT, KEPT, {{"kept", KEPT}, {"op", KEPT}}, {{"kept", KEPT}}};
    return GetParam().analyse(pipe_.readEnd.Get(), future_, result_);
  }

  // With what was kept of the result before.
  void ExpectResult(uint64_t total, Figures ops, Figures aicores) {
    ops.insert({{"kept", KEPT}, {"op", KEPT}});
    aicores.insert({{"kept", KEPT}});
    EXPECT_EQ(result_.totalCostTime, total);
    EXPECT_EQ(result_.runCostTime, KEPT) << "not the parser's";
    EXPECT_EQ(result_.opCostTimes, ops);
    EXPECT_EQ(result_.aicoreCostTimes, aicores);
  }

  Pipe pipe_;
  std::promise<int> run_;
  std::future<int> future_ = run_.get_future();
  RunnerResult result_;
};

INSTANTIATE_TEST_SUITE_P(BothPaths, RunAnalysisTest,
                         ::testing::Values(Path{"offline_parser.cpp", OfflineParser::Analysis},
                                           Path{"zelnn_parser.cpp", ZelnnParser::Analysis}));

TEST_P(RunAnalysisTest, OfTenExecutionsTheMiddleSixCount) {
  const uint64_t costs[] = {9000, 10, 20, 30, 40, 50, 60, 1, 8000, 2};
  std::vector<Record> records;
  uint64_t start = 100000;
  for (const uint64_t cost : costs) {
    records.insert(records.end(),
                   {Step(start, start + 9900), Op("op", start, start + cost, cost / 2),
                    Op("end", start + cost, start + cost + 3, 7)});
    start += 10000;
  }
  EXPECT_EQ(Analyse(records), STATUS_SUCCESS);
  ExpectResult(38, {{"op", 35}, {"end", 3}}, {{"op", 17}, {"end", 7}});
}

TEST_P(RunAnalysisTest, WithoutOperatorsOrAPipeTheResultIsLeftAlone) {
  EXPECT_EQ(Analyse({Step(10, 30)}), STATUS_SUCCESS);
  ExpectResult(KEPT, {}, {});
  const LogCapture log(DLOG_INFO);
  EXPECT_EQ(GetParam().analyse(-1, future_, result_), STATUS_FAILED);
  EXPECT_THAT(log.Messages(), IsEmpty());
  // 0 is a descriptor like others.
  const FileDescriptor input(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
  dup2(pipe_.readEnd.Get(), STDIN_FILENO);
  EXPECT_EQ(GetParam().analyse(STDIN_FILENO, future_, result_), STATUS_SUCCESS);
  dup2(input.Get(), STDIN_FILENO);
  ExpectResult(KEPT, {}, {});
}

TEST_P(RunAnalysisTest, RecordsThatAreLostOrDamagedAreCountedInOneLine) {
  const Record a = Op("a", 10, 30);
  const Record b = Op("b", 40, 50);
  const std::string oneIsNegative = "lie in no execution and 1 end before they start: ";
  // The records, the total, the costs (none: the status of a failure), and the warning or none.
  const std::tuple<std::vector<Record>, uint64_t, Figures, std::string> cases[] = {
      {{Step(10, 30), a, Step(40, 50), b}, 10, {{"a", 20}, {"b", 10}}, ""},
      {{Step(10, 30), a, Step(40, 50), Op("a", 40, 50)}, 10, {{"a", 10}}, ""},
      {{a, b}, 0, {{"a", 20}, {"b", 10}}, "Of 2 operators 2 lie in no"},
      {{Step(10, 30), a, b}, 20, {{"a", 20}, {"b", 10}}, "Of 2 operators 1 lie"},
      {{Step(10, 30), a, Op("b", 20, 20)}, 20, {{"a", 20}, {"b", 0}}, ""},
      {{Step(10, 30), a, Op("b", 25, 15)}, 20, {{"a", 20}, {"b", 0}}, "0 " + oneIsNegative},
      {{Step(10, 30), a, Step(40, 50)}, KEPT, {}, ""},
      {{Step(9, 9), Op("a", 9, 9)}, KEPT, {}, ""},
      {{Step(30, 10), a}, KEPT, {}, "Of 1 operators 1 lie"},
      {{Step(30, 10), Op("a", 30, 10)}, KEPT, {}, "Of 1 operators 0 " + oneIsNegative},
  };
  for (const auto& [records, total, costs, warning] : cases) {
    SCOPED_TRACE(testing::PrintToString(costs) + warning);
    const LogCapture log(DLOG_WARN);
    EXPECT_EQ(Analyse(records), costs.empty() ? STATUS_PROFILING_FAILED : STATUS_SUCCESS);
    Figures aicores;
    for (const auto& [name, cost] : costs) {
      aicores[name] = records.back().end < records.back().start && name == "b" ? 0 : 1;
    }
    ExpectResult(total, costs, aicores);
    ASSERT_EQ(log.Messages(DLOG_WARN).size(), warning.empty() ? 0U : 1U);
    if (!warning.empty()) {
      EXPECT_EQ(log.Find(warning).file, GetParam().file);
    }
    EXPECT_EQ(log.Messages(DLOG_ERROR).size(), costs.empty() ? 5U : 0U);
    for (const char* text : {"Get running result by", "Get total cost", "Get runner result"}) {
      EXPECT_EQ(log.Find(text).file, costs.empty() ? GetParam().file : "") << text;
    }
  }
}

}  // namespace
}  // namespace Ormo::Testing
