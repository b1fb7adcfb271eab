#include "control/host_call.h"

#include <unistd.h>

#include <algorithm>

namespace OrmoHost {

std::atomic<bool> Script::active_{false};

Script& Script::Instance() {
  static Undying<Script> instance;
  return *instance;
}

Script::Fault Script::OnCall(const char* function, Failing failing) {
  std::lock_guard<std::mutex> lock(mutex_);
  Record(function, failing);
  Fault fault;
  for (Rule& rule : rules_) {
    if (!Matches(rule, function, failing)) {
      continue;
    }
    if (rule.everyCall || --rule.callsLeft == 0) {
      fault = rule.fault;
      failedCall_ = function;
    }
  }
  rules_.erase(
      std::remove_if(rules_.begin(), rules_.end(), [](const Rule& rule) { return rule.IsSpent(); }),
      rules_.end());
  return fault;
}

bool Script::Matches(const Rule& rule, const char* function, Failing failing) {
  return rule.function.empty() ? failing == Failing::CAN : rule.function == function;
}

void Script::Record(const char* function, Failing failing) {
  if (!recording_) {
    return;
  }
  ++counts_[function];
  if (failing == Failing::CAN) {
    calls_.push_back({function, gettid()});
  }
}

void Script::AddRule(const std::string& function, uint64_t nth, Fault fault) {
  std::lock_guard<std::mutex> lock(mutex_);
  rules_.push_back({function, nth == EVERY_CALL, nth, std::move(fault)});
  active_ = true;
}

void Script::AddOverallRule(uint64_t nth, int32_t code) {
  AddRule("", nth, {code, nullptr});
}

void Script::StartRecording() {
  std::lock_guard<std::mutex> lock(mutex_);
  counts_.clear();
  calls_.clear();
  recording_ = true;
  active_ = true;
}

uint64_t Script::CallCount(const std::string& function) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = counts_.find(function);
  return found == counts_.end() ? 0 : found->second;
}

std::vector<Call> Script::Calls() {
  std::lock_guard<std::mutex> lock(mutex_);
  return calls_;
}

std::string Script::FailedCall() {
  std::lock_guard<std::mutex> lock(mutex_);
  return failedCall_;
}

size_t Script::PendingRules() {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<size_t>(std::count_if(rules_.begin(), rules_.end(),
                                           [](const Rule& rule) { return !rule.everyCall; }));
}

void Script::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  active_ = false;
  recording_ = false;
  rules_ = {};
  counts_ = {};
  calls_ = {};
  failedCall_ = {};
}

}  // namespace OrmoHost
