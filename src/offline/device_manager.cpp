#include "offline/device_manager.h"

#include <new>
#include <optional>
#include <string>
#include <system_error>

#include "common/invalid_param.h"
#include "common/log.h"
#include "common/quiet_release.h"
#include "common/utils.h"
#include "ormo/file_utils.h"
#include "ormo/status.h"

namespace Ormo {
namespace {

constexpr char POOL_NAME[] = "OrmoRun";
constexpr char CACHE_PATH_VARIABLE[] = "TARN_CACHE_PATH";
constexpr char CACHE_SUBDIRECTORY[] = "/ormo_data/Tarn";
constexpr char HOME_SUBDIRECTORY[] = "Tarn";

// Ends the workers of a process that exits without finalising while everything that they use is
// still there. Made after the first pool, and so after the trace recorder, it is destroyed before
// the recorder and before all statics of the library.
struct ExitGuard {
  ExitGuard() = default;
  ExitGuard(const ExitGuard&) = delete;
  ExitGuard& operator=(const ExitGuard&) = delete;

  ~ExitGuard() { DeviceManager::Finalize(); }
};

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

std::unique_ptr<ThreadPool> DeviceManager::threadPool_;
bool DeviceManager::initFlag_ = false;
TPath DeviceManager::lockPath_;
DeviceLocks DeviceManager::locks_;

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
  threadPool_ = std::move(pool);
  ORMO_LOG_INFO("Device manager init success.");
  initFlag_ = true;
  return STATUS_SUCCESS;
}

void DeviceManager::InitFileLock() {
  const std::optional<std::string> cachePath = Utils::FindEnv(CACHE_PATH_VARIABLE);
  TPath candidate;
  if (cachePath.has_value()) {
    candidate = *cachePath + CACHE_SUBDIRECTORY;
  }
  const TPath home = FileUtils::GetHomePath();
  const TPath homeCandidate = home + HOME_SUBDIRECTORY;
  if (cachePath.has_value() && FileUtils::CreateDirectory(candidate)) {
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
}

int DeviceManager::Lock(uint32_t deviceId) {
  if (!initFlag_) {
    ORMO_LOG_ERROR("Device manager has not been initialized");
    return STATUS_FAILED;
  }
  const std::string name = ".ormo_dev_" + std::to_string(deviceId) + ".lock";
  return locks_.Acquire(deviceId, lockPath_ + name);
}

void DeviceManager::Unlock(int& fd) {
  locks_.Release(fd);
}

void DeviceManager::Finalize() {
  if (!initFlag_) {
    return;
  }
  threadPool_.reset();
  initFlag_ = false;
}

DeviceLockHolder::DeviceLockHolder(uint32_t deviceId, CallSite site)
    : fd_(DeviceManager::Lock(deviceId)), site_(site) {
  if (fd_ < 0) {
    ORMO_LOG_WARNING_AT(site, "Device [%u] is not locked, other processes may run on it", deviceId);
  }
}

DeviceLockHolder::~DeviceLockHolder() {
  ReleaseQuietly(
      "a device lock", [this] { DeviceManager::Unlock(fd_); }, site_);
}

}  // namespace Ormo
