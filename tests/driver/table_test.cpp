// Tables of figures that a healthy platform does not deliver.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "report.h"

namespace OrmoMeasure {
namespace {

TEST(DriverTable, OperatorsOfNoTotalHaveNoShare) {
  Measurement measurement;
  measurement.model = "m";
  measurement.result.opCostTimes = {{"op", 1000181}};
  measurement.SettleByFigures();
  const OfflineOptions options;
  std::ostringstream table;
  PrintTable(table, OfflineReport{options, "chip", {}, {measurement}});
  std::string row;
  std::istringstream lines(table.str());
  while (std::getline(lines, row) && row.find("ms") == std::string::npos) {
  }
  EXPECT_THAT(row, testing::MatchesRegex(" +1\\.000 ms +- +0 ns +op *")) << table.str();
  EXPECT_THAT(table.str(), testing::HasSubstr("no profiled operator lies in an execution"));
}

}  // namespace
}  // namespace OrmoMeasure
