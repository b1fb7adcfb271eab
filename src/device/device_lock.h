/// \file
/// Locks that keep two processes from measuring on one device at once.
#ifndef ORMO_DEVICE_DEVICE_LOCK_H
#define ORMO_DEVICE_DEVICE_LOCK_H

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <set>

#include "common/call_site.h"
#include "ormo/t_path.h"

namespace Ormo {

class DeviceLocks;

/// A device's lock, held as long as the object lives, or the reason why there is none.
class DeviceLock {
 public:
  /// None, for a reason as of errno.
  DeviceLock(uint32_t deviceId, int error) : deviceId_(deviceId), error_(error) {}

  DeviceLock(DeviceLock&& other) noexcept;
  ~DeviceLock();
  DeviceLock(const DeviceLock&) = delete;
  DeviceLock& operator=(const DeviceLock&) = delete;

  /// The descriptor of the locked file; negative without a lock.
  int Fd() const noexcept { return fd_; }

  /// 0, or the reason: that of opening or locking the file, or ECANCELED when the wait was left.
  int Error() const noexcept { return error_; }

  /// Whether the device may be used. A device whose lock cannot be had is, after a warning line of
  /// `site`'s file; one whose wait was left, since the devices are being finalised or the call has
  /// been cancelled, is not, after an error line.
  bool MayRun(CallSite site = CallSite::Here()) const;

 private:
  friend class DeviceLocks;

  /// Has the device's turn already.
  DeviceLock(DeviceLocks& locks, uint32_t deviceId, CallSite site)
      : locks_(&locks), deviceId_(deviceId), site_(site) {}

  DeviceLocks* locks_ = nullptr;  ///< where its turn ends, if it has one
  uint32_t deviceId_;
  int fd_ = -1;
  int error_ = 0;
  CallSite site_ = CallSite::Here();
};

/// The devices' lock files, each locked by one thread of the process at a time. A record lock
/// belongs to the process, and closing any descriptor of the file drops it; and a process whose
/// threads took turns without a gap would never let another one in. Any thread. Outlives the locks
/// that it gives.
class DeviceLocks {
 public:
  /// Waits until no other thread and no other process holds the device, without a time-out and
  /// without polling. The lock is that of the file `path`, which log lines call `name`. Holders of
  /// other devices never wait.
  DeviceLock Acquire(uint32_t deviceId, const TPath& path, const TPath& name,
                     CallSite site = CallSite::Here());

  /// Ends all waits, and those that would begin, until Reopen.
  void Leave();
  void Reopen();

  /// Has every wait look whether its call has been cancelled, and end if so.
  void Wake();

 private:
  friend class DeviceLock;

  bool IsLeft();
  bool IsWaitOver() const;
  bool AwaitTurn(uint32_t deviceId);
  void EndTurn(uint32_t deviceId);
  bool AwaitFile(int fd);

  std::mutex mutex_;  ///< guards what follows
  std::condition_variable changed_;
  bool isLeft_ = false;
  std::set<uint32_t> taken_;  ///< devices that a thread holds or waits for
};

}  // namespace Ormo

#endif  // ORMO_DEVICE_DEVICE_LOCK_H
