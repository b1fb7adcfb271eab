#include "op_command.h"

#include "command_line.h"
#include "device_locks.h"
#include "op_measuring.h"
#include "ormo/ormo_runner.h"
#include "ormo/trace.h"
#include "ranking.h"
#include "report.h"

namespace OrmoMeasure {

int RunOp(const OpOptions& options) {
  if (!options.traceDirectory.empty()) {
    Ormo::Trace::StartDumpTraceToPath(options.traceDirectory);
  }
  OpReport report{options, OrmoGetSocVersion(), TryLocks(options.devices),
                  MeasureRequests(options)};
  Rank(report.ranking);
  Print(report);
  return HasFailure(report.ranking) ? EXIT_CANDIDATE_FAILED : EXIT_ALL_MEASURED;
}

}  // namespace OrmoMeasure
