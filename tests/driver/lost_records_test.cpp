// What reports say when the platform loses records of a run that otherwise went well.
#include <sstream>

#include "driver/driver_process.h"
#include "offline_measuring.h"
#include "online_measuring.h"
#include "op_measuring.h"
#include "report.h"
#include "support/runner_test.h"

namespace Ormo::Testing {
namespace {

using OrmoHost::RecordFault;
using OrmoMeasure::Measurement;

// The driver in the test's own process, whose platform can be steered.
class LostRecords : public RunnerTest {
 protected:
  void Finalize() override {}  // the driver does

  std::string File(const std::string& text) const {
    WriteFile(directory_ / "graph.json", text);
    return directory_ / "graph.json";
  }

  // Loses records, counted from 1 over all executions.
  static void Lose(const std::vector<uint64_t>& records) {
    for (const uint64_t record : records) {
      OrmoHost::FaultRecord(record, RecordFault::LOST);
    }
  }

  const std::string graph_ = File(SpinGraph({1000, 1000}));  // 3 records: operators, execution
};

TEST_F(LostRecords, AreNamedInEveryReport) {
  const std::pair<std::vector<uint64_t>, const char*> table[] = {
      {{}, nullptr},
      {{6}, "executions missing: 1 of 4, operators in no execution: 2"},
      {{7, 10}, "executions that lack operators: 2"},
      {{3, 6, 9, 12}, "executions missing: 4 of 4, operators in no execution: 8"},
  };
  OrmoMeasure::OfflineOptions options;
  options.loop = 4;
  // An expensive operator, in all executions.
  options.models = {File(SpinGraph({3000000, 1000}))};
  Lose({1, 4, 7, 10});
  EXPECT_THAT(MeasureCandidates(options)[0].lostRecords,
              ContainsRegex("lost .no operator in [2-9][0-9] % of each execution's time or more"));
  options.models = {File(SpinGraph({1000, 1000}))};
  for (const auto& [records, expected] : table) {
    Lose(records);
    const OrmoMeasure::OfflineReport report{options, "", {}, MeasureCandidates(options)};
    std::ostringstream lines[3];
    OrmoMeasure::PrintTable(lines[0], report);
    OrmoMeasure::PrintCsv(lines[1], report.ranking);
    OrmoMeasure::PrintJson(lines[2], report);
    for (const std::ostringstream& text : lines) {
      if (expected == nullptr) {
        EXPECT_THAT(text.str(), Not(HasSubstr("lost")));
      } else {
        EXPECT_THAT(text.str(),
                    HasSubstr("profiling records were lost (" + std::string(expected) + ")"));
      }
    }
  }
}

TEST_F(LostRecords, AreNamedForGraphsAndOperators) {
  OrmoMeasure::OnlineOptions graphs;
  graphs.graphs = {graph_};
  graphs.loop = 4;
  Lose({6, 7});
  EXPECT_THAT(MeasureGraphs(graphs)[0].lostRecords,
              HasSubstr("(executions missing: 1 of 4, executions that lack operators: 1, "
                        "operators in no execution: 2)"));
  // Where executions have no records, none is missing.
  graphs.options = {{"ox.stepRecords", "off"}};
  EXPECT_EQ(MeasureGraphs(graphs)[0].lostRecords, "");
  Lose({3});
  EXPECT_THAT(MeasureGraphs(graphs)[0].lostRecords,
              HasSubstr("(executions that lack operators: 1)"));

  OrmoMeasure::OpOptions operators;
  operators.requests = {ORMO_EXAMPLES_PATH "/operators/attention-small.json"};
  operators.devices = {1};
  operators.loop = 3;
  Lose({4});
  const Measurement measurement = MeasureRequests(operators)[0];
  EXPECT_THAT(measurement.lostRecords,
              HasSubstr("(executions missing: 1 of 3, operators in no execution: 1)"));
  EXPECT_EQ(measurement.deviceId, 1U);
}

}  // namespace
}  // namespace Ormo::Testing
