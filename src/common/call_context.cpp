#include "common/call_context.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

#include "common/run_watch.h"
#include "common/status_text.h"
#include "ormo/status.h"

namespace Ormo {

thread_local CallContext* CallContext::current_ = nullptr;
// No text object: its destructor would keep the library loaded until the thread ends.
thread_local char CallContext::latestReason_[REASON_SIZE] = {};

CallContext::CallContext() noexcept : reason_(latestReason_) {
  reason_[0] = '\0';
}

CallContext::CallContext(RunWatch& watch, char (&reason)[REASON_SIZE]) noexcept
    : watch_(&watch), reason_(reason) {
  reason_[0] = '\0';
}

CallContext::~CallContext() = default;

CallContext* CallContext::Current() noexcept {
  return current_;
}

RunWatch* CallContext::Watch() noexcept {
  return current_ == nullptr ? nullptr : current_->watch_;
}

bool CallContext::IsCancelled() noexcept {
  RunWatch* const watch = Watch();
  if (watch == nullptr || watch->cancel == nullptr || !watch->cancel->IsCancelled()) {
    return false;
  }
  watch->isCancelled = true;
  return true;
}

bool CallContext::WantsReason() noexcept {
  return current_ != nullptr && !current_->hasReason_;
}

void CallContext::KeepReason(const char* format, ...) noexcept {
  if (current_ == nullptr || current_->hasReason_.exchange(true)) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  if (vsnprintf(current_->reason_, REASON_SIZE, format, arguments) < 0) {
    current_->reason_[0] = '\0';
  }
  va_end(arguments);
}

void CallContext::ForgetReason() noexcept {
  if (current_ != nullptr) {
    current_->hasReason_ = false;
  }
}

int CallContext::End(int status) noexcept {
  if (status == STATUS_SUCCESS) {
    reason_[0] = '\0';
  } else {
    KeepReason("%s", StatusText(status));
  }
  return status;
}

const char* CallContext::LatestReason() noexcept {
  return latestReason_;
}

CallContext::Adopted::Adopted(CallContext* call) noexcept : outer_(std::exchange(current_, call)) {}

CallContext::Adopted::~Adopted() {
  current_ = outer_;
}

}  // namespace Ormo
