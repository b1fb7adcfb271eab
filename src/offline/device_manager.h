/// \file
/// The devices that the process has claimed: their workers and their lock files.
#ifndef ORMO_OFFLINE_DEVICE_MANAGER_H
#define ORMO_OFFLINE_DEVICE_MANAGER_H

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "offline/device_lock.h"
#include "offline/thread_pool.h"
#include "ormo/t_path.h"

namespace Ormo {

/// Shared by all runners of the process: the first that initialises it chooses the devices, the
/// first that finalises it ends it for all. Static members only.
class DeviceManager {
 public:
  DeviceManager() = delete;

  /// Starts a worker for each id and chooses the directory of the lock files. 0, also when it is
  /// initialised already, or STATUS_FAILED: no ids, or the workers could not be started.
  static int Init(const std::vector<uint32_t>& deviceIds);

  /// Joins the workers; tasks still queued are dropped. Blocks until running tasks have ended.
  static void Finalize();

  /// Waits until this process may use the device: no other process holds its lock file. Returns a
  /// descriptor for Unlock, or a negative value when the file cannot be locked. Called on the
  /// device's worker, with a matching Unlock.
  static int Lock(uint32_t deviceId);

  /// Releases what Lock returned and sets `fd` to -1; nothing for a negative `fd`.
  static void Unlock(int& fd);

  /// ThreadPool::Commit on the workers; the future is invalid also when there are none.
  template <typename F, typename... Args>
  static auto Commit(F&& f, WorkerId worker, Args&&... args) {
    using Future =
        decltype(threadPool_->Commit(std::forward<F>(f), worker, std::forward<Args>(args)...));
    if (threadPool_ == nullptr) {
      ORMO_LOG_ERROR_AT(worker.site, "Thread pool has been stopped");
      return Future();
    }
    return threadPool_->Commit(std::forward<F>(f), worker, std::forward<Args>(args)...);
  }

 private:
  static void InitFileLock();

  static std::unique_ptr<ThreadPool> threadPool_;
  static bool initFlag_;
  static TPath lockPath_;
  static DeviceLocks locks_;
};

/// Holds a device's lock as long as the object lives. A device whose lock cannot be had is used all
/// the same, after a warning line of `site`'s file.
class DeviceLockHolder {
 public:
  explicit DeviceLockHolder(uint32_t deviceId, CallSite site = CallSite::Here());
  ~DeviceLockHolder();
  DeviceLockHolder(const DeviceLockHolder&) = delete;
  DeviceLockHolder& operator=(const DeviceLockHolder&) = delete;

 private:
  int fd_;
  CallSite site_;
};

}  // namespace Ormo

#endif  // ORMO_OFFLINE_DEVICE_MANAGER_H
