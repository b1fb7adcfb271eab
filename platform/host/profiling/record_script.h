/// \file
/// What tests do to records.
#ifndef ORMO_HOST_PROFILING_RECORD_SCRIPT_H
#define ORMO_HOST_PROFILING_RECORD_SCRIPT_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <vector>

#include "ormo_host/control.h"

namespace OrmoHost {

/// Faults of records and the longest wait for room in a pipe, of all subscriptions.
class RecordScript {
 public:
  static constexpr std::chrono::milliseconds DEFAULT_WAIT{5000};

  static RecordScript& Instance();

  void AddFault(uint64_t nth, RecordFault fault);
  /// What the record that is about to be written meets.
  RecordFault NextFault();

  std::chrono::milliseconds Wait() const { return wait_; }

  void SetWait(std::chrono::milliseconds wait) { wait_ = wait; }

  void Clear();

 private:
  struct Pending {
    uint64_t recordsLeft;
    RecordFault fault;
  };

  std::mutex mutex_;
  std::vector<Pending> pending_;
  std::atomic<std::chrono::milliseconds> wait_{DEFAULT_WAIT};
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_PROFILING_RECORD_SCRIPT_H
