/// \file
/// A running subscription: from timings to records in a pipe.
#ifndef ORMO_HOST_PROFILING_SUBSCRIPTION_H
#define ORMO_HOST_PROFILING_SUBSCRIPTION_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "profiling/record.h"
#include "profiling/timing.h"
#include "runtime/table.h"
#include "zel/zel_prof.h"

namespace OrmoHost {

/// A descriptor that records are written to: a duplicate of the user's, closed with this object.
class RecordOutput {
 public:
  /// Refuses a descriptor that cannot be duplicated.
  explicit RecordOutput(int descriptor);
  ~RecordOutput();
  RecordOutput(const RecordOutput&) = delete;
  RecordOutput& operator=(const RecordOutput&) = delete;

  int Get() const { return descriptor_; }

 private:
  int descriptor_;
};

/// A configuration is nothing but its output; a running subscription keeps that open.
using SubscribeConfigs = HandleTable<zelprofSubscribeConfig*, RecordOutput>;

/// What an execution's records are.
enum class RecordStyle {
  WITH_STEPS,      ///< one for each operator, and one that bounds the execution
  OPERATORS_ONLY,  ///< nothing tells one execution's records from the next's
};

/// Takes the timings of executions and writes them as records, on a thread of its own so that no
/// write falls into an execution's time.
class Subscription {
 public:
  /// Refuses when there is no thread.
  Subscription(uint64_t id, std::vector<StepLabel> labels, std::shared_ptr<RecordOutput> output,
               RecordStyle style);
  /// Gives up what is not written yet.
  ~Subscription();
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;

  /// Begins an execution and tells its start: not before the end of the one before, also when the
  /// clock stood still.
  uint64_t Start() const;

  /// Where an execution puts its timings. One execution at a time.
  std::vector<StepTiming>& Timings() { return timings_; }

  /// Queues the timings and, where the style has one, a record for the whole execution.
  void EndExecution(uint64_t start, uint64_t end);

  /// Waits until everything queued is written. False when a record was dropped because the pipe was
  /// closed or stayed full. Nothing is written afterwards.
  bool Finish();

  /// How many there are.
  static size_t Count() { return count_; }

 private:
  void WriteQueued();
  void Write(const StepTiming& timing);
  Record MakeRecord(const StepTiming& timing) const;
  bool WaitForRoom() const;

  static std::atomic<size_t> count_;

  const uint64_t id_;
  const std::vector<StepLabel> labels_;
  const std::shared_ptr<RecordOutput> output_;
  const RecordStyle style_;
  std::vector<StepTiming> timings_;
  std::atomic<uint64_t> lastEnd_{0};

  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<StepTiming> queue_;
  bool isFinishing_ = false;

  std::atomic<bool> isAbandoned_{false};
  std::atomic<bool> isBroken_{false};
  std::thread writer_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_PROFILING_SUBSCRIPTION_H
