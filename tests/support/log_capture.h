/// \file
/// The lines that a test makes the library log.
#ifndef ORMO_TESTS_SUPPORT_LOG_CAPTURE_H
#define ORMO_TESTS_SUPPORT_LOG_CAPTURE_H

#include <algorithm>
#include <cstddef>
#include <optional>
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
  explicit LogCapture(int level = DLOG_DEBUG) {
    OrmoHost::ClearCapturedLog();
    OrmoHost::CaptureLog(level);
  }

  ~LogCapture() { OrmoHost::StopCapturingLog(); }

  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// Forgets the lines so far.
  void Clear() { OrmoHost::ClearCapturedLog(); }

  /// The lines so far, in order.
  std::vector<LogLine> Lines() const { return OrmoHost::CapturedLog(); }

  /// Their messages, what follows the prefix; of one level, when it is named.
  std::vector<std::string> Messages(std::optional<int> level = std::nullopt) const {
    std::vector<std::string> messages;
    for (const LogLine& line : Lines()) {
      if (line.level == level.value_or(line.level)) {
        messages.push_back(line.message);
      }
    }
    return messages;
  }

  /// "3 utils.cpp get tick count failed", and so on: level, source and message, a line each.
  std::string Text() const {
    std::string text;
    for (const LogLine& line : Lines()) {
      text += std::to_string(line.level) + " " + line.file + " " + line.message + "\n";
    }
    return text;
  }

  /// Lines of `level` whose message contains `text`.
  size_t Count(int level, const std::string& text) const {
    const std::vector<std::string> messages = Messages(level);
    return static_cast<size_t>(std::count_if(
        messages.begin(), messages.end(),
        [&](const std::string& message) { return message.find(text) != std::string::npos; }));
  }

  bool Contains(int level, const std::string& text) const { return Count(level, text) != 0; }

  /// The first line whose message contains `text`; one with an empty text when there is none.
  LogLine Find(const std::string& text) const {
    for (const LogLine& line : Lines()) {
      if (line.message.find(text) != std::string::npos) {
        return line;
      }
    }
    return {};
  }
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_LOG_CAPTURE_H
