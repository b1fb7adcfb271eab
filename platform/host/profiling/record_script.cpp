#include "profiling/record_script.h"

#include <algorithm>

#include "control/undying.h"

namespace OrmoHost {

RecordScript& RecordScript::Instance() {
  static Undying<RecordScript> instance;
  return *instance;
}

void RecordScript::AddFault(uint64_t nth, RecordFault fault) {
  std::lock_guard<std::mutex> lock(mutex_);
  pending_.push_back({nth, fault});
}

RecordFault RecordScript::NextFault() {
  std::lock_guard<std::mutex> lock(mutex_);
  RecordFault fault = RecordFault::NONE;
  for (Pending& pending : pending_) {
    fault = --pending.recordsLeft == 0 ? pending.fault : fault;
  }
  pending_.erase(std::remove_if(pending_.begin(), pending_.end(),
                                [](const Pending& pending) { return pending.recordsLeft == 0; }),
                 pending_.end());
  return fault;
}

void RecordScript::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  pending_ = {};
  wait_ = DEFAULT_WAIT;
}

}  // namespace OrmoHost
