#include "offline_command.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "command_line.h"
#include "offline_measuring.h"
#include "ormo/ormo_runner.h"
#include "ormo/trace.h"
#include "ranking.h"
#include "report.h"

namespace OrmoMeasure {
namespace {

void Print(const OfflineReport& report) {
  switch (report.options.format) {
    case ReportFormat::TABLE:
      PrintTable(std::cout, report);
      break;
    case ReportFormat::JSON:
      PrintJson(std::cout, report);
      break;
    case ReportFormat::CSV:
      PrintCsv(std::cout, report);
      break;
  }
  if (!std::cout.flush()) {
    throw std::runtime_error("the report cannot be written");
  }
}

}  // namespace

int RunOffline(const OfflineOptions& options) {
  if (!options.traceDirectory.empty()) {
    Ormo::Trace::StartDumpTraceToPath(options.traceDirectory);
  }
  OfflineReport report{options, OrmoGetSocVersion(), MeasureCandidates(options)};
  Rank(report.ranking);
  Print(report);
  const bool failed =
      std::any_of(report.ranking.begin(), report.ranking.end(),
                  [](const Measurement& m) { return m.outcome == Outcome::FAILED; });
  return failed ? EXIT_CANDIDATE_FAILED : EXIT_ALL_MEASURED;
}

}  // namespace OrmoMeasure
