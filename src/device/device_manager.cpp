#include "device/device_manager.h"

#include <cerrno>
#include <new>
#include <optional>
#include <string>
#include <system_error>

#include "common/invalid_param.h"
#include "common/log.h"
#include "common/run_watch.h"
#include "common/utils.h"
#include "device/profiled_run.h"
#include "device/runner_calls.h"
#include "ormo/file_utils.h"
#include "ormo/status.h"

namespace Ormo {
namespace {

constexpr char POOL_NAME[] = "OrmoRun";
constexpr char CACHE_PATH_VARIABLE[] = "TARN_CACHE_PATH";
constexpr char CACHE_SUBDIRECTORY[] = "/ormo_data/Tarn";
constexpr char HOME_SUBDIRECTORY[] = "Tarn";

std::unique_ptr<ThreadPool> CreateThreadPool(const std::vector<uint32_t>& deviceIds) {
  try {
    auto pool = std::make_unique<ThreadPool>(deviceIds, POOL_NAME);
    EndWorkersAtExit();
    return pool;
  } catch (const std::bad_alloc&) {
    return nullptr;
  } catch (const std::system_error&) {  // no more threads
    return nullptr;
  }
}

}  // namespace

std::mutex DeviceManager::poolMutex_;
// Not destroyed: the threads of a pool that a forked child inherits do not exist.
NeverDestroyed<std::shared_ptr<ThreadPool>> DeviceManager::threadPool_;
InitFlag DeviceManager::initFlag_;
TPath DeviceManager::lockPath_;
TPath DeviceManager::resolvedLockPath_;
NeverDestroyed<DeviceLocks> DeviceManager::locks_;
std::mutex DeviceManager::bareMutex_;
NeverDestroyed<std::map<int, DeviceLock>> DeviceManager::bareLocks_;

int DeviceManager::Init(const std::vector<uint32_t>& deviceIds) {
  if (initFlag_) {
    ORMO_LOG_WARNING("Device manager has been initialized");
    return STATUS_SUCCESS;
  }
  if (deviceIds.empty()) {
    ReportNoAvailableDevice();
    return STATUS_FAILED;
  }
  std::unique_ptr<ThreadPool> pool = CreateThreadPool(deviceIds);
  if (pool == nullptr) {
    ORMO_LOG_ERROR("Create thread pool failed");
    return STATUS_FAILED;
  }
  InitFileLock();
  locks_->Reopen();
  {
    const std::lock_guard<std::mutex> lock(poolMutex_);
    *threadPool_ = std::move(pool);
  }
  ORMO_LOG_INFO("Device manager init success.");
  initFlag_.Set();
  return STATUS_SUCCESS;
}

void DeviceManager::Drain() {
  if (!initFlag_) {
    return;
  }
  const std::shared_ptr<ThreadPool> pool = GetPool();
  if (pool == nullptr) {  // somebody finalises
    return;
  }
  pool->Refuse();  // a worker that leaves its wait must not find another task
  locks_->Leave();
  ProfiledRun::AwaitTaskOfThisThread();
  pool->AwaitIdle();
}

void DeviceManager::Finalize() {
  if (!initFlag_) {
    return;
  }
  std::shared_ptr<ThreadPool> pool;
  {
    const std::lock_guard<std::mutex> lock(poolMutex_);
    pool = std::move(*threadPool_);
  }
  pool.reset();
  initFlag_.Clear();
}

void DeviceManager::FinalizeAtExit() {
  Drain();
  if (!ThreadPool::IsWorker()) {
    Finalize();
  } else if (const std::shared_ptr<ThreadPool> pool = GetPool(); pool != nullptr) {
    pool->Stop();
  }
}

void DeviceManager::Wake(const CallContext& call) {
  const std::shared_ptr<ThreadPool> pool = GetPool();
  if (pool != nullptr) {
    pool->Withdraw(call);
  }
  locks_->Wake();
}

bool DeviceManager::IsDropped(uint32_t workerId, CallSite site) {
  if (CallContext::IsCancelled()) {
    ORMO_LOG_ERROR_AT(site, "The call has been cancelled, its task does not run");
    return true;
  }
  if (workerId != ANY_THREAD_ID) {
    return false;
  }
  ORMO_LOG_ERROR_AT(site, "The devices are being finalized, a queued task does not run");
  return true;
}

std::shared_ptr<ThreadPool> DeviceManager::GetPool() {
  const std::lock_guard<std::mutex> lock(poolMutex_);
  return *threadPool_;
}

std::shared_ptr<ThreadPool> DeviceManager::FindPool(CallSite site) {
  std::shared_ptr<ThreadPool> pool = GetPool();
  if (pool == nullptr) {
    ORMO_LOG_ERROR_AT(site, "Thread pool has been stopped");
  }
  return pool;
}

bool DeviceManager::Commit(std::list<ThreadPool::Task>& task, WorkerId worker) {
  const std::shared_ptr<ThreadPool> pool = FindPool(worker.site);
  return pool != nullptr && pool->Commit(task, worker);
}

void DeviceManager::InitFileLock() {
  const std::optional<std::string> cachePath = Utils::FindEnv(CACHE_PATH_VARIABLE);
  TPath candidate;
  if (cachePath.has_value()) {
    candidate = *cachePath + CACHE_SUBDIRECTORY;
  }
  const TPath home = FileUtils::GetHomePath();
  const TPath homeCandidate = home + HOME_SUBDIRECTORY;
  const bool usesCache = cachePath.has_value() && FileUtils::CreateDirectory(candidate);
  if (usesCache) {
    lockPath_ = candidate;
  } else {
    ORMO_LOG_INFO(
        "Cannot find TARN_CACHE_PATH or create directory: %s failed, try home path instead.",
        candidate.GetCString());
    if (FileUtils::CreateDirectory(homeCandidate)) {
      lockPath_ = homeCandidate;
    } else {
      ORMO_LOG_WARNING("Create directory: %s failed", homeCandidate.GetCString());
      lockPath_ = home;
    }
  }
  ORMO_LOG_INFO("Lock path : %s", lockPath_.GetCString());
  // The working directory may change, and links may be turned.
  resolvedLockPath_ = lockPath_.Empty() ? TPath(".") : lockPath_;
  resolvedLockPath_.RealPath();
  if (!usesCache && (cachePath.has_value() || home.Empty())) {
    ORMO_LOG_WARNING(
        "%s: devices are locked in %s, where other processes may not look",
        cachePath.has_value() ? "TARN_CACHE_PATH cannot be used" : "HOME cannot be used",
        resolvedLockPath_.GetCString());
  }
}

DeviceLock DeviceManager::Acquire(uint32_t deviceId, CallSite site) {
  if (!initFlag_) {
    ORMO_LOG_ERROR("Device manager has not been initialized");
    return {deviceId, ENODEV};
  }
  const std::string name = ".ormo_dev_" + std::to_string(deviceId) + ".lock";
  RunWatch* const watch = CallContext::Watch();
  if (watch == nullptr) {
    return locks_->Acquire(deviceId, resolvedLockPath_ + name, lockPath_ + name, site);
  }
  Timer timer;
  timer.Start();
  DeviceLock lock = locks_->Acquire(deviceId, resolvedLockPath_ + name, lockPath_ + name, site);
  timer.Stop();
  watch->lockWaitTime = timer.Elapsed();
  watch->isLockHeld = lock.Fd() >= 0;
  return lock;
}

int DeviceManager::Lock(uint32_t deviceId) {
  DeviceLock lock = Acquire(deviceId);
  const int fd = lock.Fd();
  if (fd >= 0) {
    const std::lock_guard<std::mutex> guard(bareMutex_);
    bareLocks_->emplace(fd, std::move(lock));
  }
  return fd;
}

void DeviceManager::Unlock(int& fd) {
  std::map<int, DeviceLock>::node_type lock;  // goes when others may use the map again
  const std::lock_guard<std::mutex> guard(bareMutex_);
  lock = bareLocks_->extract(fd);
  fd = -1;
}

}  // namespace Ormo
