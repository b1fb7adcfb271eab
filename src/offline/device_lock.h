/// \file
/// Locks that keep two processes from measuring on one device at once.
#ifndef ORMO_OFFLINE_DEVICE_LOCK_H
#define ORMO_OFFLINE_DEVICE_LOCK_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "ormo/t_path.h"

namespace Ormo {

/// Counts the holders of each device's lock file within this process. A record lock belongs to the
/// process, and closing any descriptor of the file drops it; so the first holder opens and locks
/// the file, later ones share its descriptor, and the last one unlocks and closes it. Any thread.
class DeviceLocks {
 public:
  /// Waits until the lock on `path` is held for `deviceId`. Returns the descriptor, or a negative
  /// value when the file cannot be opened or locked. Holders of other devices never wait.
  int Acquire(uint32_t deviceId, const TPath& path);

  /// Gives back what Acquire returned and sets `fd` to -1; nothing for a negative `fd`. Any other
  /// descriptor is unlocked and closed.
  void Release(int& fd);

 private:
  struct Entry {
    std::mutex mutex;  // held during the wait, so that a second worker of the device waits too
    uint32_t holders = 0;
    int fd = -1;
  };

  std::shared_ptr<Entry> FindDevice(uint32_t deviceId);

  std::mutex mutex_;  // guards the maps, never held during a wait
  std::map<uint32_t, std::shared_ptr<Entry>> devices_;
  std::map<int, std::shared_ptr<Entry>> held_;
};

}  // namespace Ormo

#endif  // ORMO_OFFLINE_DEVICE_LOCK_H
