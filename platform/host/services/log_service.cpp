#include "services/log_service.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <exception>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dlog/dlog.h"
#include "ormo_host/control.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "services/environment.h"

namespace OrmoHost {
namespace {

// Lines that carry their origin start with this.
constexpr std::string_view PREFIX = "[%s:%d][%s][Tid:%d] ";
// Above every level.
constexpr int OFF = 1 << 16;

struct LevelName {
  int level;
  const char* name;
};

constexpr LevelName LEVEL_NAMES[] = {{DLOG_DEBUG, "debug"},
                                     {DLOG_INFO, "info"},
                                     {DLOG_WARN, "warning"},
                                     {DLOG_ERROR, "error"},
                                     {DLOG_EVENT, "event"}};

struct LogService {
  std::mutex mutex;
  int file = -1;
  int fileLevel = OFF;
  int captureLevel = OFF;
  std::vector<LogLine> captured;
};

// The lowest level that anybody wants; asked for every line.
std::atomic<int> threshold{OFF};

void UpdateThreshold(const LogService& service) {
  threshold = std::min(service.fileLevel, service.captureLevel);
}

int LevelFromEnvironment() {
  std::string wanted = ReadVariable("ORMO_HOST_LOG_LEVEL");
  for (const LevelName& level : LEVEL_NAMES) {
    if (wanted == level.name) {
      return level.level;
    }
  }
  return DLOG_ERROR;
}

std::string FormatText(const char* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller has started it
  int length = vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string text(static_cast<size_t>(std::max(length, 0)), '\0');
  va_copy(copy, arguments);
  vsnprintf(text.data(), text.size() + 1, format, copy);
  va_end(copy);
  return text;
}

// Takes a line apart; `arguments` are those of `format`.
LogLine MakeLine(const char* format, va_list arguments, std::string text) {
  LogLine line{};
  line.message = text;
  line.text = std::move(text);
  if (std::string_view(format).substr(0, PREFIX.size()) != PREFIX) {
    return line;
  }
  va_list copy;
  va_copy(copy, arguments);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller has started it
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

void WriteToFile(int file, int level, const std::string& text) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm date{};
  localtime_r(&now.tv_sec, &date);
  char stamp[64];
  size_t length = strftime(stamp, sizeof(stamp), "%Y-%m-%d %H:%M:%S", &date);
  std::snprintf(stamp + length, sizeof(stamp) - length, ".%06ld ", now.tv_nsec / 1000);
  std::string line = stamp;
  for (const LevelName& named : LEVEL_NAMES) {
    line += level == named.level ? named.name : "";
  }
  line += " " + text + "\n";
  // A line that cannot be written is lost: there is nobody left to tell.
  static_cast<void>(!write(file, line.data(), line.size()));
}

void Write(int module, int level, const char* format, va_list arguments) {
  std::string text = FormatText(format, arguments);
  auto& service = Single<LogService>();
  const std::lock_guard<std::mutex> lock(service.mutex);
  if (level >= service.fileLevel) {
    WriteToFile(service.file, level, text);
  }
  if (level >= service.captureLevel) {
    LogLine line = MakeLine(format, arguments, std::move(text));
    line.module = module;
    line.level = level;
    service.captured.push_back(std::move(line));
  }
}

void CloseFile(LogService& service) {
  if (service.file >= 0) {
    close(service.file);
  }
  service.file = -1;
  service.fileLevel = OFF;
}

// The library may log before it calls anything else.
__attribute__((constructor)) void OpenAtStart() {
  OpenLogFile();
}

}  // namespace

void OpenLogFile() {
  std::string name = ReadVariable("ORMO_HOST_LOG");
  auto& service = Single<LogService>();
  const std::lock_guard<std::mutex> lock(service.mutex);
  CloseFile(service);
  if (name == "stderr") {
    service.file = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  } else if (!name.empty()) {
    service.file = open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
  }
  service.fileLevel = service.file >= 0 ? LevelFromEnvironment() : OFF;
  UpdateThreshold(service);
}

void CloseLog() {
  StopCapturingLog();
  auto& service = Single<LogService>();
  const std::lock_guard<std::mutex> lock(service.mutex);
  CloseFile(service);
  UpdateThreshold(service);
}

void CaptureLog(int level) {
  auto& service = Single<LogService>();
  const std::lock_guard<std::mutex> lock(service.mutex);
  service.captureLevel = level;
  UpdateThreshold(service);
}

void StopCapturingLog() {
  CaptureLog(OFF);
  ClearCapturedLog();
}

std::vector<LogLine> CapturedLog() {
  auto& service = Single<LogService>();
  const std::lock_guard<std::mutex> lock(service.mutex);
  return service.captured;
}

void ClearCapturedLog() {
  auto& service = Single<LogService>();
  const std::lock_guard<std::mutex> lock(service.mutex);
  Forget(service.captured);
}

}  // namespace OrmoHost

int CheckLogLevel(int /*moduleId*/, int level) {
  // The library asks for every line that is not written.
  if (OrmoHost::isScriptActive.load(std::memory_order_relaxed)) {
    int32_t code = OrmoHost::HostCall("CheckLogLevel", OrmoHost::Failing::CANNOT).Fails();
    if (code != 0) {
      return code;
    }
  }
  return level >= OrmoHost::threshold.load(std::memory_order_relaxed) ? 1 : 0;
}

void DlogInner(int moduleId, int level, const char* format, ...) {
  OrmoHost::HostCall call("DlogInner", OrmoHost::Failing::CANNOT);
  if (call.Fails() != 0) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  try {
    OrmoHost::Write(moduleId, level, format, arguments);
  } catch (const std::exception&) {
    // Callers log where nothing may be thrown. A line that finds no memory is lost.
  }
  va_end(arguments);
}
