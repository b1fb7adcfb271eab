/// \file
/// The lines that a test makes the library log.
#ifndef ORMO_TESTS_SUPPORT_LOG_CAPTURE_H
#define ORMO_TESTS_SUPPORT_LOG_CAPTURE_H

#include <cstddef>
#include <string>
#include <vector>

#include "dlog/dlog.h"
#include "ormo_host/control.h"

namespace Ormo::Testing {

using OrmoHost::LogLine;

/// Captures log lines of all threads from its construction to its destruction; one at a time. Any
/// thread may call any operation.
class LogCapture {
 public:
  /// Enables the levels from `level` on, and with them what the library then formats.
  explicit LogCapture(int level = DLOG_DEBUG);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// Forgets the lines so far.
  void Clear();

  /// The lines so far, in order.
  std::vector<LogLine> Lines() const;
  /// Their messages: what follows the prefix.
  std::vector<std::string> Messages() const;
  std::vector<std::string> Messages(int level) const;

  /// Lines of `level` whose message contains `text`.
  size_t Count(int level, const std::string& text) const;
  bool Contains(int level, const std::string& text) const;
  /// The first line whose message contains `text`; one with an empty text when there is none.
  LogLine Find(const std::string& text) const;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_LOG_CAPTURE_H
