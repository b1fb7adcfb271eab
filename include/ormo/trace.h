/// \file
/// The timeline of the library's own work.
#ifndef ORMO_TRACE_H
#define ORMO_TRACE_H

#include <string>

#include "ormo/export.h"

namespace Ormo {

/// One phase on the timeline: a begin and an end event with a name, a process, a thread and a time.
/// Spans are the library's own; callers only say where the timeline goes.
class Trace {
 public:
  /// A span that is not open yet. Empty texts for process and thread stand for the current ones.
  explicit Trace(std::string spanName, std::string processId = {}, std::string threadId = {});
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;

  /// Closes the span if it is open.
  ~Trace();

  /// Records the begin event; does nothing while the span is open. Never fails.
  void Start() noexcept;
  /// Records the end event, after which the span may be started again; does nothing while the span
  /// is not open. Never fails.
  void Stop() noexcept;

  /// Starts writing the process's timeline to a new file in `dir` (empty: the current directory),
  /// named "ormo_trace_", local time, "_pid", process id, ".json": a trace-event document for the
  /// common trace viewers. What was recorded before goes in too, as far as it was kept: the latest
  /// 65,536 events.
  ///
  /// Any thread; returns at once. A thread of the library adds what is new every 30 seconds and
  /// when the process ends; between writes the file is a complete document, and at the end it
  /// becomes read-only. What stands under the file's name is not followed if it is a link, and only
  /// a regular file is overwritten. That thread takes no signals. Failures are only logged. The
  /// first call of a process counts, further ones change nothing; a child that it forks without
  /// exec has no timeline.
  ORMO_EXPORT static void StartDumpTraceToPath(const std::string& dir);

 private:
  bool canStart = true;
  bool started = false;
  std::string name;
  std::string pid;
  std::string tid;
};

}  // namespace Ormo

#endif  // ORMO_TRACE_H
