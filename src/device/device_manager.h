/// \file
/// The devices that the process has claimed: their workers and their lock files.
#ifndef ORMO_DEVICE_DEVICE_MANAGER_H
#define ORMO_DEVICE_DEVICE_MANAGER_H

#include <atomic>
#include <cstdint>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "common/init_flag.h"
#include "common/never_destroyed.h"
#include "device/device_lock.h"
#include "device/thread_pool.h"
#include "ormo/status.h"
#include "ormo/t_path.h"

namespace Ormo {

/// A task of a worker that is ready to be queued, whatever memory there is by then. It is told
/// ANY_THREAD_ID for the worker when none will run it.
class PreparedTask {
 public:
  explicit PreparedTask(ThreadPool::Task task);

 private:
  friend class DeviceManager;

  std::list<ThreadPool::Task> element_;
};

struct ExitGuard;

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

  /// RefusesCall for an initialisation, which comes too late when the process ends.
  static bool RefusesInit(CallSite site = CallSite::Here());

  static bool IsInitialized() noexcept { return static_cast<bool>(initFlag_); }

  /// Ends all calls that wait for a worker or a device: nothing can be committed any more, queued
  /// tasks get STATUS_FAILED, waits for locks are left. Then waits for the tasks that execute.
  static void Drain();

  /// For a runner whose flag is clear: Drain, and wait until no call is inside it.
  static void EndCalls(InitFlag& runner);

  /// Clears the flag of a runner that goes because the process ends, and waits for the calls inside
  /// it; but for one in a worker that ends the process, whose caller waits on.
  static void EndCallsAtExit(InitFlag& runner);

  /// Whether a call must not wait for a worker, after an error line of `site`'s file that says why:
  /// it comes from a worker, which would wait for itself, or from a process that was forked from
  /// the one with the workers.
  static bool RefusesCall(CallSite site = CallSite::Here());

  /// Waits until this process may use the device: no other thread and no other process holds it.
  /// Returns a descriptor for Unlock, or a negative value with the reason in errno: the file cannot
  /// be locked, or, ECANCELED, the devices are being finalised. Called on the device's worker, with
  /// a matching Unlock.
  static int Lock(uint32_t deviceId);

  /// Releases what Lock returned and sets `fd` to -1; nothing for a negative `fd`.
  static void Unlock(int& fd);

  /// ThreadPool::Commit on the workers; the future is invalid also when there are none. Drain gives
  /// a task that no worker runs any more ANY_THREAD_ID: IsDropped.
  template <typename F, typename... Args>
  static auto Commit(F&& f, WorkerId worker, Args&&... args) {
    using Future = decltype(std::declval<ThreadPool&>().Commit(std::forward<F>(f), worker,
                                                               std::forward<Args>(args)...));
    const std::shared_ptr<ThreadPool> pool = FindPool(worker.site);
    return pool == nullptr ? Future()
                           : pool->Commit(std::forward<F>(f), worker, std::forward<Args>(args)...);
  }

  /// Whether a task must do nothing, since it is given no worker's id; an error line of `site`'s
  /// file then says why.
  static bool IsDropped(uint32_t workerId, CallSite site = CallSite::Here());

  /// Queues a task without allocating. False, after a line of the caller's file, as for Commit.
  static bool Commit(PreparedTask& task, WorkerId worker);

 private:
  friend struct ExitGuard;

  static void InitFileLock();
  static std::shared_ptr<ThreadPool> FindPool(CallSite site);

  static std::mutex poolMutex_;  ///< guards threadPool_, not what its workers do
  static NeverDestroyed<std::shared_ptr<ThreadPool>> threadPool_;
  static InitFlag initFlag_;
  static TPath lockPath_;
  static TPath resolvedLockPath_;
  static NeverDestroyed<DeviceLocks> locks_;
  static std::atomic<bool> isEnding_;  ///< the process, or the library's time in it
};

/// Holds a device's lock as long as the object lives. A device whose lock cannot be had is used all
/// the same, after a warning line of `site`'s file.
class DeviceLockHolder {
 public:
  explicit DeviceLockHolder(uint32_t deviceId, CallSite site = CallSite::Here());
  ~DeviceLockHolder();
  DeviceLockHolder(const DeviceLockHolder&) = delete;
  DeviceLockHolder& operator=(const DeviceLockHolder&) = delete;

  /// Whether the device may be used: false when the wait was left, since the devices are being
  /// finalised.
  bool MayRun() const noexcept { return !isLeft_; }

 private:
  int fd_;
  bool isLeft_ = false;
  CallSite site_;
};

}  // namespace Ormo

#endif  // ORMO_DEVICE_DEVICE_MANAGER_H
