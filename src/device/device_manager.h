/// \file
/// The devices that the process has claimed: their workers and their lock files.
#ifndef ORMO_DEVICE_DEVICE_MANAGER_H
#define ORMO_DEVICE_DEVICE_MANAGER_H

#include <cstdint>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "common/call_context.h"
#include "common/init_flag.h"
#include "common/never_destroyed.h"
#include "device/device_lock.h"
#include "device/thread_pool.h"
#include "ormo/status.h"
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

  /// Drain and Finalize for a process that ends. A worker that ends it stands in the middle of the
  /// pool, and so leaves it where it is, with the other workers joined.
  static void FinalizeAtExit();

  static bool IsInitialized() noexcept { return static_cast<bool>(initFlag_); }

  /// Whether this process was forked from one with workers, which did not come along.
  static bool IsInherited() noexcept { return initFlag_.IsInherited(); }

  /// Ends all calls that wait for a worker or a device: nothing can be committed any more, queued
  /// tasks get STATUS_FAILED, waits for locks are left. Then waits for the tasks that execute.
  static void Drain();

  /// Waits until this process may use the device: no other thread and no other process holds it,
  /// or the devices are being finalised. Called on the device's worker.
  static DeviceLock Acquire(uint32_t deviceId, CallSite site = CallSite::Here());

  /// Acquire for whoever keeps a descriptor instead. Returns one for Unlock, or a negative value.
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
    if (pool == nullptr) {
      return Future();
    }
    Future future = pool->Commit(std::forward<F>(f), worker, std::forward<Args>(args)...);
    if (CallContext::IsCancelled()) {  // whoever cancelled it may not have found it yet
      pool->Withdraw(*CallContext::Current());
    }
    return future;
  }

  /// The same for the one element of `task`, which stays there when it is refused: false, after a
  /// line of the caller's file. Allocates nothing.
  static bool Commit(std::list<ThreadPool::Task>& task, WorkerId worker);

  /// Wakes what waits on behalf of a call that has been cancelled: its task, if it is queued, does
  /// not run any more.
  static void Wake(const CallContext& call);

  /// Whether a task must do nothing, since it is given no worker's id or its call has been
  /// cancelled; an error line of `site`'s file then says why.
  static bool IsDropped(uint32_t workerId, CallSite site = CallSite::Here());

 private:
  static void InitFileLock();
  static std::shared_ptr<ThreadPool> GetPool();
  static std::shared_ptr<ThreadPool> FindPool(CallSite site);

  static std::mutex poolMutex_;  ///< guards threadPool_, not what its workers do
  static NeverDestroyed<std::shared_ptr<ThreadPool>> threadPool_;
  static InitFlag initFlag_;
  static TPath lockPath_;
  static TPath resolvedLockPath_;
  static NeverDestroyed<DeviceLocks> locks_;
  static std::mutex bareMutex_;                                 ///< guards bareLocks_
  static NeverDestroyed<std::map<int, DeviceLock>> bareLocks_;  ///< that Lock took, by descriptor
};

}  // namespace Ormo

#endif  // ORMO_DEVICE_DEVICE_MANAGER_H
