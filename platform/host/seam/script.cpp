#include "seam/script.h"

#include <unistd.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ormo_host/control.h"
#include "seam/single.h"

namespace OrmoHost {
namespace {

// In place of a function's name: all functions that can fail.
constexpr char ANY_FUNCTION[] = "";

struct Rule {
  std::string function;
  bool isForEveryCall;
  uint64_t callsLeft;  // until the rule acts, which it does once
  Fault fault;

  bool Matches(const char* name, Failing failing) const {
    return function == ANY_FUNCTION ? failing == Failing::CAN : function == name;
  }

  bool IsSpent() const { return !isForEveryCall && callsLeft == 0; }
};

struct Script {
  std::mutex mutex;
  std::vector<Rule> rules;
  bool isRecording = false;
  std::map<std::string, uint64_t> counts;
  std::vector<Call> calls;
  std::string failedCall;
};

void AddRule(const std::string& function, uint64_t nth, Fault fault) {
  auto& script = Single<Script>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  script.rules.push_back({function, nth == EVERY_CALL, nth, std::move(fault)});
  isScriptActive = true;
}

void Record(Script& script, const char* function, Failing failing) {
  ++script.counts[function];
  if (failing == Failing::CAN) {
    script.calls.push_back({function, "", gettid()});
  }
}

}  // namespace

Fault MeetScript(const char* function, Failing failing) {
  auto& script = Single<Script>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  if (script.isRecording) {
    Record(script, function, failing);
  }
  Fault fault;
  std::vector<Rule>& rules = script.rules;
  for (Rule& rule : rules) {
    if (rule.Matches(function, failing) && (rule.isForEveryCall || --rule.callsLeft == 0)) {
      fault = rule.fault;
      script.failedCall = function;
    }
  }
  rules.erase(
      std::remove_if(rules.begin(), rules.end(), [](const Rule& rule) { return rule.IsSpent(); }),
      rules.end());
  return fault;
}

void AddToCall(const std::string& text) {
  auto& script = Single<Script>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  const auto call =
      std::find_if(script.calls.rbegin(), script.calls.rend(),
                   [thread = gettid()](const Call& made) { return made.thread == thread; });
  if (script.isRecording && call != script.calls.rend()) {
    call->arguments += text;
  }
}

void ClearScript() {
  auto& script = Single<Script>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  isScriptActive = false;
  script.isRecording = false;
  Forget(script.rules);
  Forget(script.counts);
  Forget(script.calls);
  Forget(script.failedCall);
}

void Fail(const std::string& function, uint64_t nth, int32_t code) {
  AddRule(function, nth, {code, nullptr});
}

void OnCall(const std::string& function, uint64_t nth, std::function<void()> action) {
  AddRule(function, nth, {0, std::move(action)});
}

void Delay(const std::string& function, uint64_t nth, std::chrono::nanoseconds time) {
  OnCall(function, nth, [time] { std::this_thread::sleep_for(time); });
}

void Throw(const std::string& function, uint64_t nth) {
  OnCall(function, nth, [function] { throw std::runtime_error("scripted fault of " + function); });
}

void FailCall(uint64_t nth, int32_t code) {
  AddRule(ANY_FUNCTION, nth, {code, nullptr});
}

std::string FailedCall() {
  auto& script = Single<Script>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  return script.failedCall;
}

size_t PendingFaults() {
  auto& script = Single<Script>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  return static_cast<size_t>(std::count_if(script.rules.begin(), script.rules.end(),
                                           [](const Rule& rule) { return !rule.isForEveryCall; }));
}

bool IsInsideHost() {
  return insideDepth != 0;
}

void RecordCalls() {
  auto& script = Single<Script>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  script.counts.clear();
  script.calls.clear();
  script.isRecording = true;
  isScriptActive = true;
}

uint64_t CallCount(const std::string& function) {
  auto& script = Single<Script>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  auto found = script.counts.find(function);
  return found == script.counts.end() ? 0 : found->second;
}

std::vector<Call> Calls() {
  auto& script = Single<Script>();
  const std::lock_guard<std::mutex> lock(script.mutex);
  return script.calls;
}

}  // namespace OrmoHost
