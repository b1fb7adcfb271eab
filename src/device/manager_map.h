/// \file
/// The run managers of the claimed devices.
#ifndef ORMO_DEVICE_MANAGER_MAP_H
#define ORMO_DEVICE_MANAGER_MAP_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "common/call_site.h"
#include "common/invalid_param.h"
#include "common/log.h"
#include "ormo/status.h"

namespace Ormo {

/// What becomes of a manager that could not be initialised.
enum class FailedManager {
  KEPT,     ///< it stays, and refuses to work until the devices are set again
  DROPPED,  ///< the next Prepare makes another
};

/// One `Manager` for each device, made on the device's worker when it is first used. The devices
/// are set on the initialising thread before any worker asks; managers are made under a lock, since
/// a device may have two workers.
template <typename Manager>
class ManagerMap {
 public:
  explicit ManagerMap(FailedManager failedManager) : failedManager_(failedManager) {}

  /// Gives every device an entry without a manager; one that was there is destroyed. All or, with
  /// an exception, none.
  void SetDevices(const std::vector<uint32_t>& deviceIds) {
    std::map<uint32_t, Device> added;
    for (const uint32_t id : deviceIds) {
      added[id];
    }
    for (const auto& [id, device] : added) {
      devices_.erase(id);
    }
    devices_.merge(added);
  }

  /// Makes and initialises the device's manager unless there is one. 0, or STATUS_FAILED after an
  /// error line of `site`'s file: an unknown device, no memory, or the manager's failure.
  int Prepare(uint32_t deviceId, CallSite site = CallSite::Here()) {
    const auto entry = devices_.find(deviceId);
    if (entry == devices_.end()) {
      ReportMissingDevice(deviceId, site);
      return STATUS_FAILED;
    }
    Device& device = entry->second;
    const std::lock_guard<std::mutex> lock(device.mutex);
    if (device.manager != nullptr) {
      return STATUS_SUCCESS;
    }
    std::unique_ptr<Manager> manager(new (std::nothrow) Manager());
    if (manager == nullptr) {
      ORMO_LOG_ERROR_AT(site, "Create run manager failed");
      return STATUS_FAILED;
    }
    const int status = manager->Init(deviceId);
    if (status == STATUS_SUCCESS || failedManager_ == FailedManager::KEPT) {
      device.manager = std::move(manager);
    }
    if (status != STATUS_SUCCESS) {
      ORMO_LOG_ERROR_AT(site, "Init run manager failed");
      return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
  }

  /// The manager of a device whose preparation succeeded.
  const Manager& Get(uint32_t deviceId) const { return *devices_.at(deviceId).manager; }

  /// Finalises every manager, in device order, and forgets all devices. Workers are idle.
  void Finalize() {
    for (auto& [id, device] : devices_) {
      if (device.manager != nullptr) {
        device.manager->Finalize();
      }
    }
    devices_.clear();
  }

 private:
  struct Device {
    std::mutex mutex;  ///< one each: a device that is slow to set up holds no other up
    std::unique_ptr<Manager> manager;
  };

  FailedManager failedManager_;
  std::map<uint32_t, Device> devices_;
};

}  // namespace Ormo

#endif  // ORMO_DEVICE_MANAGER_MAP_H
