/// \file
/// Reports of a ranking on a stream.
#ifndef ORMO_MEASURE_REPORT_H
#define ORMO_MEASURE_REPORT_H

#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "device_locks.h"
#include "measurement.h"
#include "options.h"

namespace OrmoMeasure {

/// What was measured, under what conditions. `ranking` is in the order of Rank.
struct OfflineReport {
  const OfflineOptions& options;
  std::string soc;
  DeviceLocks locks;
  std::vector<Measurement> ranking;
};

struct OnlineReport {
  const OnlineOptions& options;
  std::string soc;
  DeviceLocks locks;
  std::vector<Measurement> ranking;
};

struct OpReport {
  const OpOptions& options;
  std::string soc;
  DeviceLocks locks;
  std::vector<Measurement> ranking;
};

struct SimReport {
  const SimOptions& options;
  std::string soc;
  std::string simulator;  ///< its directory
  std::vector<Measurement> ranking;
};

/// A table for people.
void PrintTable(std::ostream& out, const OfflineReport& report);
void PrintTable(std::ostream& out, const OnlineReport& report);
void PrintTable(std::ostream& out, const OpReport& report);
void PrintTable(std::ostream& out, const SimReport& report);
/// One JSON document; its schema stands in docs/driver.md.
void PrintJson(std::ostream& out, const OfflineReport& report);
void PrintJson(std::ostream& out, const OnlineReport& report);
void PrintJson(std::ostream& out, const OpReport& report);
void PrintJson(std::ostream& out, const SimReport& report);
/// A line for each operator of each candidate, under a line of titles.
void PrintCsv(std::ostream& out, const std::vector<Measurement>& ranking);

/// On standard output, in the format that the options ask for. Throws std::runtime_error when that
/// fails.
template <typename Report>
void Print(const Report& report) {
  switch (report.options.format) {
    case ReportFormat::TABLE:
      PrintTable(std::cout, report);
      break;
    case ReportFormat::JSON:
      PrintJson(std::cout, report);
      break;
    case ReportFormat::CSV:
      PrintCsv(std::cout, report.ranking);
      if constexpr (!std::is_same_v<Report, SimReport>) {
        WarnOfUnlocked(std::cerr, report.locks);  // the columns have no place for it
      }
      break;
  }
  if (!std::cout.flush()) {
    throw std::runtime_error("the report cannot be written");
  }
}

/// "measured", "checked", "bound", "skipped" or "failed"
const char* OutcomeName(Outcome outcome);

/// What an execution cost; 0 when the records do not tell.
uint64_t CostOf(const Ormo::RunnerRunResult& execution);

struct OperatorCost {
  std::string name;
  uint64_t cost = 0;
  uint64_t aicoreCost = 0;
};

/// The operators of a result, the most expensive first.
std::vector<OperatorCost> OperatorsByCost(const Ormo::RunnerResult& result);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_REPORT_H
