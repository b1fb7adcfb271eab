/// \file
/// The reading side of a profiled run.
#ifndef ORMO_PROFILING_PROFILING_PARSER_H
#define ORMO_PROFILING_PROFILING_PARSER_H

#include <chrono>
#include <cstddef>
#include <future>

#include "common/epoll_waiter.h"
#include "profiling/model_op_info.h"

namespace Ormo {

/// Reads the profiling stream of one run from a pipe while a worker executes it. Runs on the thread
/// that waits for the run and blocks it. Every read has an epoll instance and a buffer of its own;
/// the pipe stays the caller's.
///
/// A read ends when the writer closes the pipe, when something fails, or at an idle wait: the first
/// one after the run has ended takes its status out of the future. A failed run ends the read
/// there; one that succeeded or reached its bound gets one more idle wait, for records that come
/// late.
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

  /// Reads all records of the run that `future` stands for, sorted by time. 0; the run's status
  /// when it failed; STATUS_PROFILING_FAILED when waiting, reading or decoding failed;
  /// STATUS_FAILED when the size of a record or memory for them is not to be had. What was gathered
  /// stays in `modelOpInfo` whatever the status. The future is consumed when its status was taken;
  /// what the run threw is rethrown then.
  int ReadModelOpInfo(int fd, std::future<int>& future, ModelOpInfo& modelOpInfo) const;

 private:
  /// What the read loop does next.
  enum class Next { READ, WAIT, END };

  /// Room for whole records; zero beyond `used`.
  struct Buffer {
    char* data = nullptr;
    size_t size = 0;
    size_t recordSize = 0;
    size_t used = 0;     ///< bytes that were there after the last read
    size_t carried = 0;  ///< bytes at the front whose record is not whole yet
  };

  int ProfDataRead(int fd, std::future<int>& future, ModelOpInfo& modelOpInfo) const;
  int ReadProfilingData(EpollWaiter& epoll, int fd, std::future<int>& future,
                        ModelOpInfo& modelOpInfo) const;
  int ReadLoop(EpollWaiter& epoll, int fd, std::future<int>& future, Buffer buffer,
               ModelOpInfo& modelOpInfo) const;
  Next WaitForRecord(EpollWaiter& epoll, int fd, std::future<int>& future, int& status) const;
  static Next ReadRecords(int fd, Buffer& buffer, ModelOpInfo& modelOpInfo, int& status);
  static int DecodeWholeRecords(Buffer& buffer, ModelOpInfo& modelOpInfo);
  static Next HandleIdleWait(EpollWaiter& epoll, std::future<int>& future, int& status);
  static bool HasEnded(const std::future<int>& future);
  static int CheckRunModelResult(std::future<int>& future, bool& stop);

  std::chrono::milliseconds idleWait_;
};

}  // namespace Ormo

#endif  // ORMO_PROFILING_PROFILING_PARSER_H
