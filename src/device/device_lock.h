/// \file
/// Locks that keep two processes from measuring on one device at once.
#ifndef ORMO_DEVICE_DEVICE_LOCK_H
#define ORMO_DEVICE_DEVICE_LOCK_H

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>

#include "common/call_site.h"
#include "ormo/t_path.h"

namespace Ormo {

/// The devices' lock files, each locked by one thread of the process at a time. A record lock
/// belongs to the process, and closing any descriptor of the file drops it; and a process whose
/// threads took turns without a gap would never let another one in. Any thread.
class DeviceLocks {
 public:
  /// Waits until no other thread and no other process holds the device, without a time-out and
  /// without polling. Returns the descriptor of the locked file `path`, which log lines call
  /// `name`, or a negative value with the reason in errno: that of opening or locking the file, or
  /// ECANCELED when the wait was left. Holders of other devices never wait.
  int Acquire(uint32_t deviceId, const TPath& path, const TPath& name,
              CallSite site = CallSite::Here());

  /// Gives back what Acquire returned and sets `fd` to -1; nothing for a negative `fd`.
  void Release(int& fd, CallSite site = CallSite::Here());

  /// Ends all waits, and those that would begin, until Reopen.
  void Leave();
  void Reopen();

 private:
  bool IsLeft();
  bool AwaitTurn(uint32_t deviceId);
  void EndTurn(uint32_t deviceId);
  bool AwaitFile(int fd);

  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  bool isLeft_ = false;
  std::set<uint32_t> taken_;  // devices that a thread holds or waits for
  std::map<int, uint32_t> held_;
};

}  // namespace Ormo

#endif  // ORMO_DEVICE_DEVICE_LOCK_H
