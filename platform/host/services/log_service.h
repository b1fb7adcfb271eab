/// \file
/// Where log lines go: nowhere, a file, or the memory of a test.
#ifndef ORMO_HOST_SERVICES_LOG_SERVICE_H
#define ORMO_HOST_SERVICES_LOG_SERVICE_H

#include <atomic>
#include <cstdarg>
#include <mutex>
#include <string>
#include <vector>

#include "ormo_host/control.h"

namespace OrmoHost {

class LogService {
 public:
  static LogService& Instance();

  /// One load: this is asked for every line that is not wanted.
  static bool IsEnabled(int level) { return level >= threshold_.load(std::memory_order_relaxed); }

  /// Opens what ORMO_HOST_LOG names.
  void OpenSink();
  void Write(int module, int level, const char* format, va_list arguments);

  void Capture(int level);
  void StopCapture();
  std::vector<LogLine> Captured();
  void ClearCaptured();

  /// Closes the sink and forgets the captured lines.
  void Clear();

 private:
  /// Above every level.
  static constexpr int OFF = 1 << 16;

  void CloseSink();
  void UpdateThreshold();
  void WriteToSink(int level, const std::string& text) const;

  static std::atomic<int> threshold_;

  std::mutex mutex_;
  int sink_ = -1;
  int sinkLevel_ = OFF;
  int captureLevel_ = OFF;
  std::vector<LogLine> captured_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_SERVICES_LOG_SERVICE_H
