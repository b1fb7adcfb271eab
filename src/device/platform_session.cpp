#include "device/platform_session.h"

#include "common/invalid_param.h"
#include "common/log.h"
#include "common/scope_exit.h"
#include "device/device_manager.h"
#include "device/runner_calls.h"
#include "ormo/status.h"
#include "zel/zel.h"

namespace Ormo {

int32_t InitPlatform(bool& isOwner, CallSite site) {
  const int32_t code = zelInit("");
  if (code == ZEL_ERROR_REPEAT_INITIALIZE) {
    ORMO_LOG_WARNING_AT(site, "Zel has been initialized by others");
    isOwner = false;
    return 0;
  }
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Init zel failed, ret : %d", code);
    return code;
  }
  ORMO_LOG_INFO_AT(site, "Zel init success");
  isOwner = true;
  return 0;
}

void FinalizePlatform(bool& isOwner, CallSite site) {
  if (!isOwner) {
    return;
  }
  const int32_t code = zelFinalize();
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Finalize zel failed, ret : %d", code);
  }
  ORMO_LOG_INFO_AT(site, "Zel finalize");
  isOwner = false;
}

std::vector<uint32_t> ChooseDevices(const std::vector<uint32_t>& requested, CallSite site) {
  uint32_t count = 0;
  const int32_t code = zelrtGetDeviceCount(&count);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Get device count failed, ret : %d", code);
    return {};
  }
  if (count == 0) {
    ReportNoAvailableDevice(site);
    return {};
  }
  if (requested.empty()) {
    return {0};
  }
  for (const uint32_t id : requested) {
    if (id >= count) {
      ReportMissingDevice(id, site);
      return {};
    }
  }
  return requested;
}

int StartRunner(InitFlag& runner, const std::function<int()>& initPlatform,
                const std::function<std::vector<uint32_t>()>& chooseDevices,
                const std::function<void(const std::vector<uint32_t>&)>& makeKnown, CallSite site) {
  if (RefusesInit(site)) {
    return STATUS_FAILED;
  }
  if (runner) {
    ORMO_LOG_WARNING_AT(site, "Runner is already initialized");
    return STATUS_SUCCESS;
  }
  const int status = initPlatform();
  if (status != STATUS_SUCCESS) {
    return status;
  }
  ScopeExit finalize(
      "the platform", [] { zelFinalize(); }, site);
  const std::vector<uint32_t> devices = chooseDevices();
  if (devices.empty()) {
    return STATUS_FAILED;
  }
  const bool startsWorkers = !DeviceManager::IsInitialized();
  if (DeviceManager::Init(devices) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR_AT(site, "Init device manager failed");
    return STATUS_FAILED;
  }
  ScopeExit endWorkers(
      "the devices",
      [startsWorkers] {
        if (startsWorkers) {
          DeviceManager::Finalize();
        }
      },
      site);
  makeKnown(devices);
  endWorkers.Dismiss();
  finalize.Dismiss();
  runner.Set();
  return STATUS_SUCCESS;
}

void EndRunner(InitFlag& runner, const char* name, const std::function<void()>& release,
               bool& isPlatformOwner, CallSite site) {
  if (RefusesCall(site)) {
    return;
  }
  const InitFlag::Call call(runner);  // whoever ends the process waits for it
  if (!runner.Clear()) {
    ORMO_LOG_ERROR_AT(site, "%s runner has not been initialized", name);
    return;
  }
  ScopeExit undo(
      "the finalisation", [&runner] { runner.Set(); }, site);
  EndCalls(runner);
  release();
  FinalizePlatform(isPlatformOwner, site);
  DeviceManager::Finalize();
  undo.Dismiss();
  ORMO_LOG_INFO_AT(site, "Finalize running finished");
}

}  // namespace Ormo
