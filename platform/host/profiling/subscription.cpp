#include "profiling/subscription.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string_view>
#include <system_error>
#include <utility>

#include "profiling/record_script.h"
#include "runtime/signals.h"
#include "services/raw_clock.h"

namespace OrmoHost {
namespace {

// Number of the record that bounds an execution, in place of a step's.
constexpr uint32_t WHOLE_EXECUTION = UINT32_MAX;
// How often a wait for room looks whether it is still wanted.
constexpr std::chrono::milliseconds LOOK_INTERVAL{10};

}  // namespace

RecordOutput::RecordOutput(int descriptor) : descriptor_(fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {
  Require(descriptor_ >= 0, INVALID_ARGUMENT);
}

RecordOutput::~RecordOutput() {
  close(descriptor_);
}

std::atomic<size_t> Subscription::count_{0};

Subscription::Subscription(uint64_t id, std::vector<StepLabel> labels,
                           std::shared_ptr<RecordOutput> output, RecordStyle style)
    : id_(id), labels_(std::move(labels)), output_(std::move(output)), style_(style) {
  timings_.reserve(labels_.size() + 1);
  queue_.reserve(labels_.size() + 1);
  try {
    writer_ = std::thread([this] { WriteQueued(); });
  } catch (const std::system_error&) {
    throw Refusal(NO_THREAD);
  }
  ++count_;
}

Subscription::~Subscription() {
  --count_;
  isAbandoned_ = true;
  Finish();
}

uint64_t Subscription::Start() const {
  return std::max(ReadRawClock(), lastEnd_.load());
}

void Subscription::EndExecution(uint64_t start, uint64_t end) {
  lastEnd_ = end;
  if (style_ == RecordStyle::WITH_STEPS) {
    timings_.push_back({WHOLE_EXECUTION, start, end, 0});
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    queue_.insert(queue_.end(), timings_.begin(), timings_.end());
  }
  wake_.notify_one();
  timings_.clear();
}

bool Subscription::Finish() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isFinishing_ = true;
  }
  wake_.notify_one();
  if (writer_.joinable()) {
    writer_.join();
  }
  return !isBroken_;
}

void Subscription::WriteQueued() {
  BlockSignals();
  std::vector<StepTiming> batch;
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    wake_.wait(lock, [this] { return isFinishing_ || !queue_.empty(); });
    if (queue_.empty()) {
      return;
    }
    batch.swap(queue_);
    lock.unlock();
    for (const StepTiming& timing : batch) {
      Write(timing);
    }
    batch.clear();
    lock.lock();
  }
}

void Subscription::Write(const StepTiming& timing) {
  if (isBroken_ || isAbandoned_) {
    return;
  }
  RecordFault fault = MeetRecordScript();
  if (fault == RecordFault::LOST) {
    return;
  }
  Record record = MakeRecord(timing);
  record.start = fault == RecordFault::WITHOUT_START ? 0 : record.start;
  size_t size = fault == RecordFault::TRUNCATED ? sizeof(record) / 2 : sizeof(record);
  isBroken_ = !WaitForRoom() || write(output_->Get(), &record, size) != static_cast<ssize_t>(size);
}

Record Subscription::MakeRecord(const StepTiming& timing) const {
  Record record{};
  record.mark = RECORD_MARK;
  record.id = id_;
  record.start = timing.start;
  record.end = timing.end;
  record.core = timing.core;
  // Views: nobody could be told of an exception on this thread.
  std::string_view name = STEP_TYPE;
  std::string_view type = STEP_TYPE;
  if (timing.step != WHOLE_EXECUTION) {
    name = labels_[timing.step].name;
    type = labels_[timing.step].type;
  }
  name.copy(record.name, sizeof(record.name) - 1);
  type.copy(record.type, sizeof(record.type) - 1);
  return record;
}

// The descriptor shares its flags with the reader's side of the user, so it stays blocking: after
// POLLOUT a pipe takes one record without blocking. A closed or broken pipe shows in the write.
bool Subscription::WaitForRoom() const {
  auto deadline = std::chrono::steady_clock::now() + RecordWait();
  pollfd output{output_->Get(), POLLOUT, 0};
  while (!isAbandoned_) {
    if (poll(&output, 1, static_cast<int>(LOOK_INTERVAL.count())) > 0) {
      return true;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
  }
  return false;
}

}  // namespace OrmoHost
