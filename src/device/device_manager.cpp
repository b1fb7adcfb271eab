#include "device/device_manager.h"

#include <cerrno>
#include <new>
#include <optional>
#include <string>
#include <system_error>

#include "common/invalid_param.h"
#include "common/log.h"
#include "common/scope_exit.h"
#include "common/utils.h"
#include "device/profiled_run.h"
#include "ormo/file_utils.h"
#include "ormo/status.h"

namespace Ormo {

// Ends the workers of a process that exits without finalising while everything that they use is
// still there. Made after the first pool, and so after the trace recorder, it is destroyed before
// the recorder and before all statics of the library.
struct ExitGuard {
  ExitGuard() = default;
  ExitGuard(const ExitGuard&) = delete;
  ExitGuard& operator=(const ExitGuard&) = delete;

  // A worker that ends the process stands in the middle of its pool.
  ~ExitGuard() {
    DeviceManager::isEnding_ = true;
    DeviceManager::Drain();
    if (ThreadPool::IsWorker()) {
      (*DeviceManager::threadPool_)->Stop();
    } else {
      DeviceManager::Finalize();
    }
  }
};

namespace {

constexpr char POOL_NAME[] = "OrmoRun";
constexpr char CACHE_PATH_VARIABLE[] = "TARN_CACHE_PATH";
constexpr char CACHE_SUBDIRECTORY[] = "/ormo_data/Tarn";
constexpr char HOME_SUBDIRECTORY[] = "Tarn";

std::unique_ptr<ThreadPool> CreateThreadPool(const std::vector<uint32_t>& deviceIds) {
  try {
    auto pool = std::make_unique<ThreadPool>(deviceIds, POOL_NAME);
    static const ExitGuard EXIT_GUARD;
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
std::atomic<bool> DeviceManager::isEnding_{false};

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
  std::shared_ptr<ThreadPool> pool;
  {
    const std::lock_guard<std::mutex> lock(poolMutex_);
    pool = *threadPool_;
  }
  if (pool != nullptr) {
    pool->Refuse();  // a worker that leaves its wait must not find another task
  }
  locks_->Leave();
  if (pool != nullptr) {
    ProfiledRun::AwaitTaskOfThisThread();
    pool->AwaitIdle();
  }
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

bool DeviceManager::RefusesCall(CallSite site) {
  if (ThreadPool::IsWorker()) {
    ORMO_LOG_ERROR_AT(site, "A call from a device's worker would wait for itself");
    return true;
  }
  if (initFlag_.IsInherited()) {
    ORMO_LOG_ERROR_AT(site, "The devices' workers did not come along into this forked process");
    return true;
  }
  return false;
}

bool DeviceManager::RefusesInit(CallSite site) {
  if (isEnding_) {
    ORMO_LOG_ERROR_AT(site, "The process is ending, no runner can be initialized");
    return true;
  }
  return RefusesCall(site);
}

bool DeviceManager::IsDropped(uint32_t workerId, CallSite site) {
  if (workerId != ANY_THREAD_ID) {
    return false;
  }
  ORMO_LOG_ERROR_AT(site, "The devices are being finalized, a queued task does not run");
  return true;
}

std::shared_ptr<ThreadPool> DeviceManager::FindPool(CallSite site) {
  const std::lock_guard<std::mutex> lock(poolMutex_);
  if (*threadPool_ == nullptr) {
    ORMO_LOG_ERROR_AT(site, "Thread pool has been stopped");
  }
  return *threadPool_;
}

bool DeviceManager::Commit(PreparedTask& task, WorkerId worker) {
  const std::shared_ptr<ThreadPool> pool = FindPool(worker.site);
  return pool != nullptr && pool->Commit(task.element_, worker);
}

void DeviceManager::EndCalls(InitFlag& runner) {
  Drain();
  runner.AwaitCalls();
}

void DeviceManager::EndCallsAtExit(InitFlag& runner) {
  isEnding_ = true;
  runner.Clear();
  Drain();  // a runner that was made after the guard goes before it
  runner.AwaitCalls(ThreadPool::IsWorker() ? 1 : 0);
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

int DeviceManager::Lock(uint32_t deviceId) {
  if (!initFlag_) {
    ORMO_LOG_ERROR("Device manager has not been initialized");
    errno = ENODEV;
    return STATUS_FAILED;
  }
  const std::string name = ".ormo_dev_" + std::to_string(deviceId) + ".lock";
  return locks_->Acquire(deviceId, resolvedLockPath_ + name, lockPath_ + name);
}

void DeviceManager::Unlock(int& fd) {
  locks_->Release(fd);
}

DeviceLockHolder::DeviceLockHolder(uint32_t deviceId, CallSite site)
    : fd_(DeviceManager::Lock(deviceId)), site_(site) {
  if (fd_ >= 0) {
    return;
  }
  const int error = errno;
  isLeft_ = error == ECANCELED;
  if (isLeft_) {
    ORMO_LOG_ERROR_AT(site, "Device [%u] is not waited for, the devices are being finalized",
                      deviceId);
  } else {
    ORMO_LOG_WARNING_AT(site, "Device [%u] is not locked, other processes may run on it: %s",
                        deviceId, Utils::GetErrorText(error).c_str());
  }
}

DeviceLockHolder::~DeviceLockHolder() {
  ReleaseQuietly(
      "a device lock", [this] { DeviceManager::Unlock(fd_); }, site_);
}

PreparedTask::PreparedTask(ThreadPool::Task task) {
  element_.push_back(std::move(task));
}

}  // namespace Ormo
