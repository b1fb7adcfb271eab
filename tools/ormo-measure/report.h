/// \file
/// Reports of a ranking on a stream.
#ifndef ORMO_MEASURE_REPORT_H
#define ORMO_MEASURE_REPORT_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "measurement.h"
#include "options.h"

namespace OrmoMeasure {

/// What was measured, under what conditions. `ranking` is in the order of Rank.
struct OfflineReport {
  const OfflineOptions& options;
  std::string soc;
  std::vector<Measurement> ranking;
};

/// A table for people.
void PrintTable(std::ostream& out, const OfflineReport& report);
/// One JSON document; its schema stands in docs/driver.md.
void PrintJson(std::ostream& out, const OfflineReport& report);
/// A line for each operator of each candidate, under a line of titles.
void PrintCsv(std::ostream& out, const OfflineReport& report);

/// "measured", "bound", "skipped" or "failed"
const char* OutcomeName(Outcome outcome);

struct OperatorCost {
  std::string name;
  uint64_t cost = 0;
  uint64_t aicoreCost = 0;
};

/// The operators of a result, the most expensive first.
std::vector<OperatorCost> OperatorsByCost(const Ormo::RunnerResult& result);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_REPORT_H
