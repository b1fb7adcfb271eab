#include "common/init_flag.h"

#include "common/fork_count.h"

namespace Ormo {

thread_local const InitFlag::Call* InitFlag::innermost_ = nullptr;

// Counted before it looks: a finalisation that cleared the flag either sees the call or is seen.
// Linked as long as it is counted: a signal handler that ends the process must not wait for its own
// thread.
InitFlag::Call::Call(InitFlag& flag) noexcept
    : flag_(flag), outer_(innermost_), isWithin_(flag.IsInside(outer_)) {
  innermost_ = this;
  if (!isWithin_) {
    ++flag_.calls_;
  }
  isAdmitted_ = static_cast<bool>(flag_);
}

InitFlag::Call::~Call() {
  if (!isWithin_) {
    flag_.Leave();
  }
  innermost_ = outer_;
}

void InitFlag::Set() noexcept {
  if (!IsOwnProcess()) {
    forkCount_ = ForkCount();
    calls_ = 0;  // those of the parent's threads
  }
  isSet_ = true;
}

bool InitFlag::Clear() noexcept {
  return IsOwnProcess() && isSet_.exchange(false);
}

InitFlag::operator bool() const noexcept {
  return isSet_ && IsOwnProcess();
}

bool InitFlag::IsInherited() const noexcept {
  return isSet_ && !IsOwnProcess();
}

bool InitFlag::IsOwnProcess() const noexcept {
  return forkCount_ == ForkCount();
}

// Whether the call or one around it is of this flag.
bool InitFlag::IsInside(const Call* call) const noexcept {
  while (call != nullptr && &call->flag_ != this) {
    call = call->outer_;
  }
  return call != nullptr;
}

// Who waits has said so before it looks at the count, and looks at it again under the mutex: it
// cannot miss the last call.
void InitFlag::Leave() noexcept {
  --calls_;
  if (waiters_ != 0) {
    const std::lock_guard<std::mutex> lock(mutex_);
    left_->notify_all();
  }
}

void InitFlag::AwaitCalls(uint32_t excepted) {
  if (!IsOwnProcess()) {
    return;
  }
  const uint32_t ignored = excepted + (IsInside(innermost_) ? 1 : 0);
  ++waiters_;
  std::unique_lock<std::mutex> lock(mutex_);
  left_->wait(lock, [this, ignored] { return calls_ <= ignored; });
  --waiters_;
}

}  // namespace Ormo
