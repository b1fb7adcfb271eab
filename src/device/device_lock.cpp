#include "device/device_lock.h"

#include <pthread.h>

#include <cerrno>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "common/blocked_signals.h"
#include "common/call_context.h"
#include "common/file_lock.h"
#include "common/log.h"
#include "common/scope_exit.h"
#include "common/utils.h"
#include "ormo/file_utils.h"

namespace Ormo {
namespace {

// Lock files are the business of these utilities, whoever waits for them.
constexpr CallSite FILE_UTILS_SITE = CallSite::Here("file_utils.cpp");

}  // namespace

DeviceLock::DeviceLock(DeviceLock&& other) noexcept
    : locks_(std::exchange(other.locks_, nullptr)),
      deviceId_(other.deviceId_),
      fd_(std::exchange(other.fd_, -1)),
      error_(other.error_),
      site_(other.site_) {}

DeviceLock::~DeviceLock() {
  if (locks_ == nullptr) {
    return;
  }
  ReleaseQuietly(
      "a device's lock file", [this] { FileUtils::FileUnlock(fd_); }, site_);
  ReleaseQuietly(
      "a device's turn", [this] { locks_->EndTurn(deviceId_); }, site_);
}

bool DeviceLock::MayRun(CallSite site) const {
  if (CallContext::IsCancelled()) {
    ORMO_LOG_ERROR_AT(site, "Device [%u] is not used, the call has been cancelled", deviceId_);
    return false;
  }
  if (error_ == ECANCELED) {
    ORMO_LOG_ERROR_AT(site, "Device [%u] is not waited for, the devices are being finalized",
                      deviceId_);
    return false;
  }
  if (error_ != 0) {
    CallContext::ForgetReason();
    ORMO_LOG_WARNING_AT(site, "Device [%u] is not locked, other processes may run on it: %s",
                        deviceId_, Utils::GetErrorText(error_).c_str());
  }
  return true;
}

DeviceLock DeviceLocks::Acquire(uint32_t deviceId, const TPath& path, const TPath& name,
                                CallSite site) {
  if (!AwaitTurn(deviceId)) {
    return {deviceId, ECANCELED};
  }
  DeviceLock lock(*this, deviceId, site);
  lock.fd_ = OpenLocked(
      path, name, [this](int fd) { return AwaitFile(fd); }, FILE_UTILS_SITE);
  if (lock.fd_ < 0) {
    return {deviceId, errno};
  }
  return lock;
}

void DeviceLocks::Leave() {
  const std::lock_guard<std::mutex> lock(mutex_);
  isLeft_ = true;
  changed_.notify_all();
}

void DeviceLocks::Reopen() {
  const std::lock_guard<std::mutex> lock(mutex_);
  isLeft_ = false;
}

void DeviceLocks::Wake() {
  const std::lock_guard<std::mutex> lock(mutex_);
  changed_.notify_all();
}

// With the mutex held.
bool DeviceLocks::IsWaitOver() const {
  return isLeft_ || CallContext::IsCancelled();
}

bool DeviceLocks::IsLeft() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return IsWaitOver();
}

bool DeviceLocks::AwaitTurn(uint32_t deviceId) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return IsWaitOver() || taken_.count(deviceId) == 0; });
  if (IsWaitOver()) {
    return false;
  }
  taken_.insert(deviceId);
  return true;
}

void DeviceLocks::EndTurn(uint32_t deviceId) {
  const std::lock_guard<std::mutex> lock(mutex_);
  taken_.erase(deviceId);
  changed_.notify_all();
}

// Nothing can end a wait for a record lock but the lock or a signal; so a thread of its own waits,
// and is cancelled when the wait is left. Once the wait is over it cannot be: what it does then is
// no cancellation point. A lock that comes at that very moment goes with the descriptor.
bool DeviceLocks::AwaitFile(int fd) {
  if (IsLeft()) {  // between two files of one name, too
    errno = ECANCELED;
    return false;
  }
  if (TryWriteLock(fd)) {
    return true;
  }
  if (errno != EAGAIN) {
    return false;
  }
  std::optional<int> outcome;  // errno, or 0 when the file is locked
  std::thread waiter;
  try {
    const BlockedSignals blocked;
    waiter = std::thread([&] {
      const int error = AwaitWriteLock(fd) ? 0 : errno;
      const std::lock_guard<std::mutex> lock(mutex_);
      outcome = error;
      changed_.notify_all();
    });
  } catch (const std::system_error&) {
    return AwaitWriteLock(fd);  // no more threads: exclusion goes before leaving
  }
  bool isLeft = false;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return IsWaitOver() || outcome.has_value(); });
    isLeft = IsWaitOver();
  }
  if (isLeft) {
    pthread_cancel(waiter.native_handle());
  }
  waiter.join();
  errno = isLeft ? ECANCELED : *outcome;
  return errno == 0;
}

}  // namespace Ormo
