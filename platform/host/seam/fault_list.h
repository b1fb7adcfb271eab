/// \file
/// Faults that wait for the n-th of something.
#ifndef ORMO_HOST_SEAM_FAULT_LIST_H
#define ORMO_HOST_SEAM_FAULT_LIST_H

#include <cstdint>
#include <mutex>
#include <vector>

#include "seam/single.h"

namespace OrmoHost {

/// `Fault` is an enumeration with a NONE. Any thread.
template <typename Fault>
class FaultList {
 public:
  /// For the `nth` from now on.
  void Add(uint64_t nth, Fault fault) {
    const std::lock_guard<std::mutex> lock(mutex_);
    pending_.push_back({nth, fault});
  }

  /// What the next one meets.
  Fault Meet() {
    const std::lock_guard<std::mutex> lock(mutex_);
    Fault met = Fault::NONE;
    for (auto pending = pending_.begin(); pending != pending_.end();) {
      bool isDue = --pending->left == 0;
      met = isDue ? pending->fault : met;
      pending = isDue ? pending_.erase(pending) : pending + 1;
    }
    return met;
  }

  void Clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    Forget(pending_);
  }

 private:
  struct Pending {
    uint64_t left;
    Fault fault;
  };

  std::mutex mutex_;
  std::vector<Pending> pending_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_SEAM_FAULT_LIST_H
