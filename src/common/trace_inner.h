/// \file
/// The recorder behind Trace.
#ifndef ORMO_COMMON_TRACE_INNER_H
#define ORMO_COMMON_TRACE_INNER_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "common/trace_events.h"
#include "common/trace_file.h"
#include "ormo/t_path.h"

namespace Ormo {

/// Keeps events in memory and, once a directory has been named, writes them to a file from a thread
/// of its own. Any thread may record; that never fails for the caller and never waits for the disk.
///
/// Belongs to the process that made it. In a forked child, where the writing thread is missing and
/// the mutex may be held by nobody who is there, all operations do nothing.
class TraceInner {
 public:
  using EventInfo = TraceEvent;

  /// Events kept while there is no file that can be written.
  static constexpr size_t MAX_EVENTS_WITHOUT_FILE = 65536;
  static constexpr std::chrono::seconds DUMP_PERIOD{30};

  explicit TraceInner(std::chrono::milliseconds dumpPeriod = DUMP_PERIOD);
  TraceInner(const TraceInner&) = delete;
  TraceInner& operator=(const TraceInner&) = delete;

  ~TraceInner();

  /// The recorder of the process. Whatever has threads that record until the process ends touches
  /// it first, so that it outlives them.
  static TraceInner& Instance();

  /// Record an event at this moment, or at `ts` microseconds. An empty `processId` or `threadId`
  /// stands for the current one.
  void Begin(std::string_view name, std::string_view processId, std::string_view threadId) noexcept;
  void Begin(std::string_view name, std::string_view processId, std::string_view threadId,
             uint64_t ts) noexcept;
  void End(std::string_view name, std::string_view processId, std::string_view threadId) noexcept;
  void End(std::string_view name, std::string_view processId, std::string_view threadId,
           uint64_t ts) noexcept;
  void InsertItem(const EventInfo& event) noexcept;

  /// Writes what is pending and makes the file read-only, if there is one; what is recorded later
  /// is dropped. Does nothing in a handler of a signal that came while its thread was recording.
  void Close() noexcept;

  /// Names the directory and starts the thread that writes; only the first call counts.
  void StartDumpTrace(const std::string& dir) noexcept;

 private:
  enum class State {
    IDLE,     ///< no directory has been named
    WRITING,  ///< there is a thread that writes, or tried to
    CLOSED    ///< for good
  };

  bool IsInherited() const noexcept;
  bool SetClosed() noexcept;

  template <typename Change>
  void ChangeEvents(Change change);
  TraceEvents GetEvents() noexcept;
  void PutBackEvents(TraceEvents older) noexcept;
  void LimitEvents(bool limited) noexcept;

  void DumpTraceRoutine() noexcept;
  bool OpenFile();
  bool DumpHead(const TPath& path);
  bool WaitForPeriod();
  void DumpTrace();
  bool DumpEvents(const TraceEvents& block);
  void CloseFile() noexcept;

  const std::chrono::milliseconds dumpPeriod_;
  const std::string processId_;
  const uint32_t forkCount_;

  std::mutex mutex;  ///< guards tracePath, state_, events, limited_, dropReported_
  std::string tracePath;
  std::thread dumpThread;
  State state_ = State::IDLE;
  std::condition_variable stopped_;
  TraceEvents events;
  bool limited_ = true;
  bool dropReported_ = false;

  TraceFile file;  ///< of the writing thread
};

}  // namespace Ormo

#endif  // ORMO_COMMON_TRACE_INNER_H
