/// \file
/// The scripting point at the head of every platform function.
#ifndef ORMO_HOST_CONTROL_HOST_CALL_H
#define ORMO_HOST_CONTROL_HOST_CALL_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "control/undying.h"
#include "ormo_host/control.h"

namespace OrmoHost {

/// Whether a function can report that it failed; a sweep of faults passes over those that cannot.
enum class Failing { CAN, CANNOT };

/// What the next calls meet, and what calls were made.
class Script {
 public:
  /// What a rule makes of a call.
  struct Fault {
    int32_t code = 0;
    std::function<void()> action;
  };

  static Script& Instance();

  /// True while calls are recorded or a rule exists: the one thing that an unscripted call looks
  /// at.
  static bool IsActive() { return active_.load(std::memory_order_relaxed); }

  /// Takes note of a call and returns what the rules hold for it.
  Fault OnCall(const char* function, Failing failing);

  void AddRule(const std::string& function, uint64_t nth, Fault fault);
  void AddOverallRule(uint64_t nth, int32_t code);
  void StartRecording();
  uint64_t CallCount(const std::string& function);
  std::vector<Call> Calls();
  std::string FailedCall();
  size_t PendingRules();
  void Clear();

 private:
  struct Rule {
    std::string function;  ///< empty: every function that can fail
    bool everyCall;
    uint64_t callsLeft;  ///< until the rule acts, which it does once
    Fault fault;

    bool IsSpent() const { return !everyCall && callsLeft == 0; }
  };

  void Record(const char* function, Failing failing);
  static bool Matches(const Rule& rule, const char* function, Failing failing);

  static std::atomic<bool> active_;

  std::mutex mutex_;
  std::vector<Rule> rules_;
  bool recording_ = false;
  std::map<std::string, uint64_t> counts_;
  std::vector<Call> calls_;
  std::string failedCall_;
};

/// Stands at the head of a platform function: marks the thread as inside the host and asks the
/// script.
///
/// A function that acquires or works asks `Fails()` first and does nothing when the answer is not
/// 0. One that releases does its work and returns `After(code)`.
class HostCall {
 public:
  explicit HostCall(const char* function, Failing failing = Failing::CAN) {
    if (Script::IsActive()) {
      fault_ = Script::Instance().OnCall(function, failing);
    }
  }

  /// Code that the script wants the function to fail with, or 0. Waits or throws when told to.
  int32_t Fails() {
    if (!fault_.has_value()) {
      return 0;
    }
    if (fault_->action) {
      fault_->action();
    }
    return fault_->code;
  }

  /// Result of a function that has released what it had to and got `code` for it.
  int32_t After(int32_t code) {
    int32_t scripted = Fails();
    return scripted != 0 ? scripted : code;
  }

  static bool IsInside() { return InsideMark::depth != 0; }

 private:
  struct InsideMark {
    InsideMark() { ++depth; }

    ~InsideMark() { --depth; }

    InsideMark(const InsideMark&) = delete;
    InsideMark& operator=(const InsideMark&) = delete;

    static inline thread_local int depth = 0;
  };

  InsideMark inside_;
  std::optional<Script::Fault> fault_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_CONTROL_HOST_CALL_H
