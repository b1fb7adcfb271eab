#include "online_command.h"

#include "command_line.h"
#include "device_locks.h"
#include "online_measuring.h"
#include "ormo/ormo_runner.h"
#include "ormo/trace.h"
#include "ranking.h"
#include "report.h"

namespace OrmoMeasure {

int RunOnline(const OnlineOptions& options) {
  if (!options.traceDirectory.empty()) {
    Ormo::Trace::StartDumpTraceToPath(options.traceDirectory);
  }
  OnlineReport report{options, OrmoGetSocVersion(), TryLocks(options.devices),
                      MeasureGraphs(options)};
  Rank(report.ranking);
  Print(report);
  return HasFailure(report.ranking) ? EXIT_CANDIDATE_FAILED : EXIT_ALL_MEASURED;
}

}  // namespace OrmoMeasure
