/// \file
/// Clocks, averages of measured times, environment, process and memory figures.
#ifndef ORMO_COMMON_UTILS_H
#define ORMO_COMMON_UTILS_H

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "mm/mm.h"

namespace Ormo {

class Utils {
 public:
  /// Local time as 20 digits down to the microsecond, as in "20261116193005000123". Empty when the
  /// calendar time is not to be had, "0" when it cannot be formatted.
  static std::string GetTimeStamp();
  /// A number that no other call in this process gets; the first is 2100000001.
  static uint32_t GetSerialId();

  /// Nanoseconds of the raw monotonic clock; 0 when it cannot be read. One clock call.
  static uint64_t GetClockMonoRawTime() {
    const mmTimespec tick = mmGetTickCount();
    if (tick.tv_sec < 0 || tick.tv_nsec < 0) {
      LogTickCountFailure();
      return 0;
    }
    return static_cast<uint64_t>(tick.tv_sec) * NS_PER_SECOND + static_cast<uint64_t>(tick.tv_nsec);
  }

  /// Names the calling thread; a failure is only logged.
  static void SetCurrentThreadName(const std::string& name);
  /// Closes `fd` unless it is -1, and sets it to -1.
  static void Close(int& fd);

  /// The rule behind every reported time. 0 for no samples, the smaller of two, else the integer
  /// mean; from ten samples on without the smallest and the largest fifth.
  static uint64_t CalcAvgExecuteTime(const std::multiset<uint64_t>& times);
  static std::map<std::string, uint64_t> CalcAvgExecuteTime(
      const std::map<std::string, std::multiset<uint64_t>>& times);

  /// The value of `key`, or an empty text.
  static std::string GetValueFromMapBykey(const std::map<std::string, std::string>& map,
                                          const std::string& key);
  /// An environment variable of at most 511 characters; empty when it is unset or longer.
  static std::string GetEnv(const std::string& name);
  /// The same of any length, telling unset from empty.
  static std::optional<std::string> FindEnv(const char* name);
  /// The system's text for an error number.
  static std::string GetErrorText(int error);
  /// Whether no value's magnitude reaches the double epsilon.
  static bool IsDoubleZeroAll(const std::map<std::string, double>& map);

  /// Memory of the machine in kB, 0 when it cannot be read.
  static uint64_t GetAvailableMemorySize();
  static uint64_t GetTotalMemorySize();

  /// Process and thread id in decimal; empty when the platform cannot tell.
  static std::string GetPid();
  static std::string GetTid();

 private:
  static constexpr uint64_t NS_PER_SECOND = 1000000000;

  [[gnu::cold]] static void LogTickCountFailure();
};

/// A stopwatch in nanoseconds of the raw monotonic clock.
class Timer {
 public:
  void Start() { start = Utils::GetClockMonoRawTime(); }

  void Stop() { stop = Utils::GetClockMonoRawTime(); }

  /// Time between Start and Stop, also across a wrap of the counter.
  uint64_t Elapsed() const { return stop >= start ? stop - start : stop - 1 - start; }

 private:
  uint64_t start = 0;
  uint64_t stop = 0;
};

}  // namespace Ormo

#endif  // ORMO_COMMON_UTILS_H
