#include "offline_command.h"

#include "command_line.h"
#include "device_locks.h"
#include "offline_measuring.h"
#include "ormo/ormo_runner.h"
#include "ormo/trace.h"
#include "ranking.h"
#include "report.h"

namespace OrmoMeasure {
int RunOffline(const OfflineOptions& options) {
  if (!options.traceDirectory.empty()) {
    Ormo::Trace::StartDumpTraceToPath(options.traceDirectory);
  }
  OfflineReport report{options, OrmoGetSocVersion(), TryLocks(options.devices),
                       MeasureCandidates(options)};
  Rank(report.ranking);
  Print(report);
  return HasFailure(report.ranking) ? EXIT_CANDIDATE_FAILED : EXIT_ALL_MEASURED;
}

}  // namespace OrmoMeasure
