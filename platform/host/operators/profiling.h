/// \file
/// Records of single operators.
#ifndef ORMO_HOST_OPERATORS_PROFILING_H
#define ORMO_HOST_OPERATORS_PROFILING_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "operators/executor.h"
#include "profiling/subscription.h"

namespace OrmoHost {

/// Who is told of the operators that execute on a device.
class OperatorProfile {
 public:
  OperatorProfile(uint32_t device, std::shared_ptr<RecordOutput> output);

  uint32_t Device() const { return device_; }

  /// Begins an execution and tells its start.
  uint64_t Start() const { return subscription_.Start(); }

  /// Queues the records of one execution, which is nothing but this operator. Any thread.
  void Add(const StepTiming& timing);

  /// Returns when the last record is written; false when some were dropped.
  bool Finish();

 private:
  const uint32_t device_;
  const std::vector<StepLabel> labels_;  ///< by kind of operator
  std::mutex mutex_;
  Subscription subscription_;
};

/// By device.
using OperatorProfiles = Table<OperatorProfile>;

/// Runs the executor's kernel, timed when somebody is told.
void RunProfiled(const Executor& executor, void* workspace);

}  // namespace OrmoHost

#endif  // ORMO_HOST_OPERATORS_PROFILING_H
