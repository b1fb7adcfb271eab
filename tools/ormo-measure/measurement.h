/// \file
/// What is known about a candidate after its measurement.
#ifndef ORMO_MEASURE_MEASUREMENT_H
#define ORMO_MEASURE_MEASUREMENT_H

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "ormo/runner_types.h"
#include "ormo/status.h"

namespace OrmoMeasure {

enum class Outcome {
  MEASURED,
  CHECKED,  ///< it ran, and was not to be measured
  BOUND,    ///< an execution reached the time bound; profiled runs still have figures
  SKIPPED,  ///< it does not fit into device memory
  FAILED,
};

/// An output of a check.
struct Output {
  uint64_t size = 0;
  std::string file;  ///< empty: it was not saved
};

struct Measurement {
  std::string model;
  Outcome outcome = Outcome::FAILED;
  int status = Ormo::STATUS_FAILED;
  std::string reason;                       ///< for people; empty when the candidate was measured
  uint32_t deviceId = Ormo::ANY_DEVICE_ID;  ///< that id: no device, or one that nobody knows
  std::string lostRecords;  ///< which records are missing, for people; empty: none that shows
  Ormo::RunnerResult result;
  std::vector<Ormo::RunnerRunResult>
      executions;  ///< of a graph in a session; `result` averages them
  std::vector<Output> outputs;

  bool HasDevice() const { return deviceId != Ormo::ANY_DEVICE_ID; }

  bool HasFigures() const { return result.totalCostTime > 0; }

  /// After a run that succeeded.
  void SettleByFigures() {
    outcome = HasFigures() ? Outcome::MEASURED : Outcome::FAILED;
    // No execution takes no time: ranked, it would be the best.
    const char* missing = result.opCostTimes.empty() ? "the platform delivered no profiling records"
                                                     : "no profiled operator lies in an execution";
    reason = HasFigures() ? "" : missing;
  }

  /// More than a simulator can count.
  bool IsMaximum() const { return result.totalCostTime == std::numeric_limits<uint64_t>::max(); }
};

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_MEASUREMENT_H
