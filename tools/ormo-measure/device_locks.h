/// \file
/// Whether other processes are kept away from the devices.
#ifndef ORMO_MEASURE_DEVICE_LOCKS_H
#define ORMO_MEASURE_DEVICE_LOCKS_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace OrmoMeasure {

struct UnlockedDevice {
  uint32_t id = 0;
  std::string reason;  ///< for people
};

struct DeviceLocks {
  std::string directory;  ///< of the lock files; empty: the working directory
  std::vector<UnlockedDevice> unlocked;
};

/// Tries the lock file of each device, where the library looks for it: that tells why one cannot be
/// locked, which a run does not. Call it while nothing is measured: a process that closes a lock
/// file loses its lock.
DeviceLocks TryLocks(const std::vector<uint32_t>& devices);

/// "device 1 is not locked, other processes may measure on it at the same time: ..."
std::string UnlockedText(const UnlockedDevice& device);

/// A line of the driver's for each device that is not locked.
void WarnOfUnlocked(std::ostream& out, const DeviceLocks& locks);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_DEVICE_LOCKS_H
