#include "profiling/record_script.h"

#include <atomic>

#include "seam/fault_list.h"
#include "seam/single.h"

namespace OrmoHost {
namespace {

constexpr std::chrono::milliseconds DEFAULT_WAIT{5000};

struct RecordScript {
  FaultList<RecordFault> faults;
  std::atomic<std::chrono::milliseconds> wait{DEFAULT_WAIT};
};

}  // namespace

RecordFault MeetRecordScript() {
  return Single<RecordScript>().faults.Meet();
}

std::chrono::milliseconds RecordWait() {
  return Single<RecordScript>().wait;
}

void ClearRecordScript() {
  auto& script = Single<RecordScript>();
  script.faults.Clear();
  script.wait = DEFAULT_WAIT;
}

void FaultRecord(uint64_t nth, RecordFault fault) {
  Single<RecordScript>().faults.Add(nth, fault);
}

void SetRecordWait(std::chrono::milliseconds wait) {
  Single<RecordScript>().wait = wait;
}

}  // namespace OrmoHost
