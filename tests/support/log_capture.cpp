#include "support/log_capture.h"

#include <algorithm>

namespace Ormo::Testing {
namespace {

bool HasText(const LogLine& line, const std::string& text) {
  return line.message.find(text) != std::string::npos;
}

}  // namespace

LogCapture::LogCapture(int level) {
  OrmoHost::ClearCapturedLog();
  OrmoHost::CaptureLog(level);
}

LogCapture::~LogCapture() {
  OrmoHost::StopCapturingLog();
}

void LogCapture::Clear() {
  OrmoHost::ClearCapturedLog();
}

std::vector<LogLine> LogCapture::Lines() const {
  return OrmoHost::CapturedLog();
}

std::vector<std::string> LogCapture::Messages() const {
  std::vector<std::string> messages;
  for (const LogLine& line : Lines()) {
    messages.push_back(line.message);
  }
  return messages;
}

std::vector<std::string> LogCapture::Messages(int level) const {
  std::vector<std::string> messages;
  for (const LogLine& line : Lines()) {
    if (line.level == level) {
      messages.push_back(line.message);
    }
  }
  return messages;
}

size_t LogCapture::Count(int level, const std::string& text) const {
  std::vector<LogLine> lines = Lines();
  return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), [&](const LogLine& line) {
    return line.level == level && HasText(line, text);
  }));
}

bool LogCapture::Contains(int level, const std::string& text) const {
  return Count(level, text) != 0;
}

LogLine LogCapture::Find(const std::string& text) const {
  for (LogLine& line : Lines()) {
    if (HasText(line, text)) {
      return std::move(line);
    }
  }
  return {};
}

}  // namespace Ormo::Testing
