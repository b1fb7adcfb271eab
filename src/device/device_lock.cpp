#include "device/device_lock.h"

#include <pthread.h>

#include <cerrno>
#include <optional>
#include <system_error>
#include <thread>

#include "common/blocked_signals.h"
#include "common/file_lock.h"
#include "common/scope_exit.h"
#include "ormo/file_utils.h"

namespace Ormo {
namespace {

// Lock files are the business of these utilities, whoever waits for them.
constexpr CallSite FILE_UTILS_SITE = CallSite::Here("file_utils.cpp");

}  // namespace

int DeviceLocks::Acquire(uint32_t deviceId, const TPath& path, const TPath& name, CallSite site) {
  if (!AwaitTurn(deviceId)) {
    errno = ECANCELED;
    return -1;
  }
  ScopeExit endTurn(
      "a device's turn", [&] { EndTurn(deviceId); }, site);
  int fd = OpenLocked(
      path, name, [this](int opened) { return AwaitFile(opened); }, FILE_UTILS_SITE);
  if (fd < 0) {
    return fd;
  }
  ScopeExit unlock(
      "a device's lock file", [&] { FileUtils::FileUnlock(fd); }, site);
  const std::lock_guard<std::mutex> lock(mutex_);
  held_[fd] = deviceId;
  unlock.Dismiss();
  endTurn.Dismiss();
  return fd;
}

void DeviceLocks::Release(int& fd, CallSite site) {
  if (fd < 0) {
    return;
  }
  std::optional<uint32_t> deviceId;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = held_.find(fd);
    if (found != held_.end()) {
      deviceId = found->second;
      held_.erase(found);
    }
  }
  const ScopeExit endTurn(
      "a device's turn",
      [&] {
        if (deviceId.has_value()) {
          EndTurn(*deviceId);
        }
      },
      site);
  FileUtils::FileUnlock(fd);
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

bool DeviceLocks::IsLeft() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return isLeft_;
}

bool DeviceLocks::AwaitTurn(uint32_t deviceId) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return isLeft_ || taken_.count(deviceId) == 0; });
  if (!isLeft_) {
    taken_.insert(deviceId);
  }
  return !isLeft_;
}

void DeviceLocks::EndTurn(uint32_t deviceId) {
  const int error = errno;
  const std::lock_guard<std::mutex> lock(mutex_);
  taken_.erase(deviceId);
  changed_.notify_all();
  errno = error;
}

// Nothing can end a wait for a record lock but the lock or a signal; so a thread of its own waits,
// and is cancelled when the wait is left. A lock that comes at that very moment goes with the
// descriptor.
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
      pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
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
    changed_.wait(lock, [&] { return isLeft_ || outcome.has_value(); });
    isLeft = isLeft_;
  }
  if (isLeft) {
    pthread_cancel(waiter.native_handle());
  }
  waiter.join();
  errno = isLeft ? ECANCELED : *outcome;
  return errno == 0;
}

}  // namespace Ormo
