#include "services/log_service.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "control/host_call.h"
#include "control/undying.h"
#include "dlog/dlog.h"
#include "services/environment.h"

namespace OrmoHost {
namespace {

/// Lines that carry their origin start with this.
constexpr std::string_view PREFIX = "[%s:%d][%s][Tid:%d] ";

int LevelFromEnvironment() {
  std::string name = ReadVariable("ORMO_HOST_LOG_LEVEL");
  if (name == "debug") {
    return DLOG_DEBUG;
  }
  if (name == "info") {
    return DLOG_INFO;
  }
  if (name == "warning") {
    return DLOG_WARN;
  }
  return name == "event" ? DLOG_EVENT : DLOG_ERROR;
}

const char* LevelName(int level) {
  switch (level) {
    case DLOG_DEBUG:
      return "DEBUG";
    case DLOG_INFO:
      return "INFO";
    case DLOG_WARN:
      return "WARNING";
    case DLOG_ERROR:
      return "ERROR";
    default:
      return "EVENT";
  }
}

std::string FormatText(const char* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  int length = vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (length < 0) {
    return format;
  }
  std::string text(static_cast<size_t>(length), '\0');
  va_copy(copy, arguments);
  vsnprintf(text.data(), text.size() + 1, format, copy);
  va_end(copy);
  return text;
}

/// Takes a line apart; `arguments` are those of `format`.
LogLine MakeLine(const char* format, va_list arguments, std::string text) {
  LogLine line{};
  line.message = text;
  line.text = std::move(text);
  if (std::string_view(format).substr(0, PREFIX.size()) != PREFIX) {
    return line;
  }
  va_list copy;
  va_copy(copy, arguments);
  std::string file = va_arg(copy, const char*);
  line.line = va_arg(copy, int);
  line.tag = va_arg(copy, const char*);
  line.thread = va_arg(copy, int);
  va_end(copy);
  std::string prefix = "[" + file + ":" + std::to_string(line.line) + "][" + line.tag +
                       "][Tid:" + std::to_string(line.thread) + "] ";
  line.file = file.substr(file.find_last_of('/') + 1);
  line.message = line.text.substr(prefix.size());
  return line;
}

/// Lines can come before anybody calls anything else.
__attribute__((constructor)) void OpenSinkAtStart() {
  LogService::Instance().OpenSink();
}

}  // namespace

std::atomic<int> LogService::threshold_{LogService::OFF};

LogService& LogService::Instance() {
  static Undying<LogService> instance;
  return *instance;
}

void LogService::OpenSink() {
  std::string name = ReadVariable("ORMO_HOST_LOG");
  std::lock_guard<std::mutex> lock(mutex_);
  CloseSink();
  if (name == "stderr") {
    sink_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  } else if (!name.empty()) {
    sink_ = open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
  }
  sinkLevel_ = sink_ >= 0 ? LevelFromEnvironment() : OFF;
  UpdateThreshold();
}

void LogService::CloseSink() {
  if (sink_ >= 0) {
    close(sink_);
  }
  sink_ = -1;
  sinkLevel_ = OFF;
}

void LogService::UpdateThreshold() {
  threshold_ = std::min(sinkLevel_, captureLevel_);
}

void LogService::Write(int module, int level, const char* format, va_list arguments) {
  std::string text = FormatText(format, arguments);
  std::lock_guard<std::mutex> lock(mutex_);
  if (level >= sinkLevel_) {
    WriteToSink(level, text);
  }
  if (level >= captureLevel_) {
    LogLine line = MakeLine(format, arguments, std::move(text));
    line.module = module;
    line.level = level;
    captured_.push_back(std::move(line));
  }
}

void LogService::WriteToSink(int level, const std::string& text) const {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm date{};
  localtime_r(&now.tv_sec, &date);
  char stamp[64];
  size_t length = strftime(stamp, sizeof(stamp), "%Y-%m-%d %H:%M:%S", &date);
  std::snprintf(stamp + length, sizeof(stamp) - length, ".%06ld ", now.tv_nsec / 1000);
  std::string line = std::string(stamp) + LevelName(level) + " " + text + "\n";
  // A line that cannot be written is lost: there is nobody left to tell.
  static_cast<void>(!write(sink_, line.data(), line.size()));
}

void LogService::Capture(int level) {
  std::lock_guard<std::mutex> lock(mutex_);
  captureLevel_ = level;
  UpdateThreshold();
}

void LogService::StopCapture() {
  std::lock_guard<std::mutex> lock(mutex_);
  captureLevel_ = OFF;
  captured_ = {};
  UpdateThreshold();
}

std::vector<LogLine> LogService::Captured() {
  std::lock_guard<std::mutex> lock(mutex_);
  return captured_;
}

void LogService::ClearCaptured() {
  std::lock_guard<std::mutex> lock(mutex_);
  captured_ = {};
}

void LogService::Clear() {
  StopCapture();
  std::lock_guard<std::mutex> lock(mutex_);
  CloseSink();
  UpdateThreshold();
}

}  // namespace OrmoHost

using OrmoHost::Failing;
using OrmoHost::HostCall;
using OrmoHost::LogService;
using OrmoHost::Script;

int CheckLogLevel(int /*moduleId*/, int level) {
  if (Script::IsActive()) {
    HostCall call("CheckLogLevel", Failing::CANNOT);
    if (int32_t code = call.Fails()) {
      return code;
    }
  }
  return LogService::IsEnabled(level) ? 1 : 0;
}

void DlogInner(int moduleId, int level, const char* format, ...) {
  HostCall call("DlogInner", Failing::CANNOT);
  if (call.Fails() != 0) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  LogService::Instance().Write(moduleId, level, format, arguments);
  va_end(arguments);
}
