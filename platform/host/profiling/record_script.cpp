#include "profiling/record_script.h"

#include <mutex>
#include <vector>

#include "control/single.h"

namespace OrmoHost {
namespace {

constexpr std::chrono::milliseconds DEFAULT_WAIT{5000};

struct Pending {
  uint64_t recordsLeft;
  RecordFault fault;
};

struct RecordScript {
  std::mutex mutex;
  std::vector<Pending> pending;
  std::chrono::milliseconds wait = DEFAULT_WAIT;
};

}  // namespace

RecordFault MeetRecordScript() {
  auto& script = Single<RecordScript>();
  std::lock_guard<std::mutex> lock(script.mutex);
  RecordFault fault = RecordFault::NONE;
  for (auto pending = script.pending.begin(); pending != script.pending.end();) {
    bool isDue = --pending->recordsLeft == 0;
    fault = isDue ? pending->fault : fault;
    pending = isDue ? script.pending.erase(pending) : std::next(pending);
  }
  return fault;
}

std::chrono::milliseconds RecordWait() {
  auto& script = Single<RecordScript>();
  std::lock_guard<std::mutex> lock(script.mutex);
  return script.wait;
}

void ClearRecordScript() {
  auto& script = Single<RecordScript>();
  std::lock_guard<std::mutex> lock(script.mutex);
  script.pending = {};
  script.wait = DEFAULT_WAIT;
}

void FaultRecord(uint64_t nth, RecordFault fault) {
  auto& script = Single<RecordScript>();
  std::lock_guard<std::mutex> lock(script.mutex);
  script.pending.push_back({nth, fault});
}

void SetRecordWait(std::chrono::milliseconds wait) {
  auto& script = Single<RecordScript>();
  std::lock_guard<std::mutex> lock(script.mutex);
  script.wait = wait;
}

}  // namespace OrmoHost
