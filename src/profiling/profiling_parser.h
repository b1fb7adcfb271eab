/// \file
/// The reading side of a profiled run.
#ifndef ORMO_PROFILING_PROFILING_PARSER_H
#define ORMO_PROFILING_PROFILING_PARSER_H

#include <chrono>
#include <cstddef>
#include <future>

#include "profiling/model_op_info.h"

namespace Ormo {

/// Reads the profiling stream of one run from a pipe while a worker executes it. Runs on the thread
/// that waits for the run and blocks it. Every read has an epoll instance and a buffer of its own;
/// the pipe stays the caller's.
///
/// A read ends when the writer closes the pipe, when something fails, or at an idle wait: the first
/// one after the run has ended takes its status out of the future. A run without a result ends the
/// read there; one that has a result gets one more idle wait, for records that come late (see
/// RunEnding).
///
/// A record that stands in the pipe only in part is completed by the reads that follow. Of a stream
/// that ends within a record, the part is decoded like a whole one unless the run's own failure
/// ended the read. That fails; on a platform that takes a part for no record, a warning line tells
/// of it instead.
class ProfilingParser {
 public:
  /// How long one wait for records lasts.
  static constexpr std::chrono::milliseconds IDLE_WAIT{1000};

  explicit ProfilingParser(std::chrono::milliseconds idleWait = IDLE_WAIT) : idleWait_(idleWait) {}

  /// Bytes of one record. 0, or STATUS_FAILED.
  static int GetOpDescSize(size_t& size);

  /// Reads all records of the run that `future` stands for, sorted by time. 0; what the run's
  /// status becomes when it was taken; STATUS_PROFILING_FAILED when waiting, reading or decoding
  /// failed; STATUS_FAILED when the size of a record or memory for them is not to be had. What was
  /// gathered stays in `modelOpInfo` whatever the status. The future is consumed when its status
  /// was taken; what the run threw is rethrown then.
  int ReadModelOpInfo(int fd, std::future<int>& future, ModelOpInfo& modelOpInfo) const;

 private:
  std::chrono::milliseconds idleWait_;
};

}  // namespace Ormo

#endif  // ORMO_PROFILING_PROFILING_PARSER_H
