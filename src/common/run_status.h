/// \file
/// What becomes of a run by its status.
#ifndef ORMO_COMMON_RUN_STATUS_H
#define ORMO_COMMON_RUN_STATUS_H

namespace Ormo {

/// What a status of a run means to whoever reads its records, computes and keeps its figures, or
/// tells of it. By wall clock only success has figures; a graph's run ends with 0 or STATUS_FAILED.
struct RunEnding {
  int status;
  /// Executions were measured: their outputs are copied, a reader waits for records that come late,
  /// and a profiled run keeps its figures.
  bool hasResult;
  /// Error lines tell of it.
  bool isFailure;
  /// What the reading of the records returns that took this status at an idle pipe: 0 where there
  /// is a result.
  int readStatus;
};

/// A status that nobody foresaw is a failure without a result, and comes out as it is.
RunEnding EndingOf(int status);

}  // namespace Ormo

#endif  // ORMO_COMMON_RUN_STATUS_H
