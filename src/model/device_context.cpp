#include "model/device_context.h"

#include "common/log.h"
#include "common/scope_exit.h"
#include "common/status_translation.h"
#include "ormo/status.h"

namespace Ormo {
namespace {

void ResetDevice(uint32_t deviceId, CallSite site) {
  const int32_t code = zelrtResetDevice(deviceId);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Reset device failed, ret : %d", code);
  }
}

int32_t SetCurrent(zelrtContext context, CallSite site) {
  const int32_t code = zelrtSetCurrentContext(context);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Set current context failed, ret : %d", code);
  }
  return code;
}

void DestroyContext(zelrtContext context, CallSite site) {
  const int32_t code = zelrtDestroyContext(context);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Destroy context failed, ret : %d", code);
  }
}

}  // namespace

int CreateDeviceContext(uint32_t deviceId, zelrtContext& context, CallSite site) {
  int32_t code = zelrtSetDevice(deviceId);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Set device failed, ret : %d", code);
    return TranslateStatus(code);
  }
  ORMO_LOG_INFO_AT(site, "Set device %u", deviceId);
  ScopeExit reset(
      "a device", [deviceId, site] { ResetDevice(deviceId, site); }, site);
  code = zelrtCreateContext(&context, deviceId);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Create context failed, ret : %d", code);
    context = nullptr;
    return TranslateStatus(code);
  }
  reset.Dismiss();
  return STATUS_SUCCESS;
}

void DestroyDeviceContext(uint32_t deviceId, zelrtContext& context, CallSite site) {
  ReleaseQuietly(
      "the current context", [&] { static_cast<void>(SetCurrent(context, site)); }, site);
  if (context != nullptr) {
    ReleaseQuietly(
        "a context", [&] { DestroyContext(context, site); }, site);
    context = nullptr;
  }
  ReleaseQuietly(
      "a device", [&] { ResetDevice(deviceId, site); }, site);
  ORMO_LOG_INFO_AT(site, "Reset device %u", deviceId);
}

int MakeContextCurrent(zelrtContext context, CallSite site) {
  return SetCurrent(context, site) == 0 ? STATUS_SUCCESS : STATUS_FAILED;
}

}  // namespace Ormo
