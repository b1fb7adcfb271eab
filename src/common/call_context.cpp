#include "common/call_context.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

#include "common/run_watch.h"
#include "common/scope_exit.h"
#include "common/status_text.h"
#include "ormo/ormo_error_manager.h"
#include "ormo/status.h"

namespace Ormo {
namespace {

// A text that was cut may end within a character of UTF-8, which must go.
void DropCutCharacter(char* text) {
  constexpr size_t END = CallContext::REASON_SIZE - 1;
  size_t first = END - 1;  // byte of the last character
  while (first > END - 4 && (static_cast<unsigned char>(text[first]) & 0xC0) == 0x80) {
    --first;
  }
  const auto lead = static_cast<unsigned char>(text[first]);
  const size_t length = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (first + length > END) {
    text[first] = '\0';
  }
}

}  // namespace

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
  const int length = vsnprintf(current_->reason_, REASON_SIZE, format, arguments);
  if (length < 0) {
    current_->reason_[0] = '\0';
  } else if (static_cast<size_t>(length) >= REASON_SIZE) {
    DropCutCharacter(current_->reason_);
  }
  va_end(arguments);
}

void CallContext::ForgetReason() noexcept {
  if (current_ == nullptr) {
    return;
  }
  current_->hasReason_ = false;
  if (current_->watch_ != nullptr) {  // the work stream is the call's own
    ReleaseQuietly("the reason of what was made up for",
                   [] { OrmoErrorManager::GetInstance().OrmoGetErrorMessage(); });
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
