#include "model/device_context.h"

#include "common/log.h"
#include "common/status_translation.h"
#include "ormo/status.h"

namespace Ormo {
namespace {

// The platform does not say which context is current; this is the one that was set here last.
thread_local zelrtContext currentContext = nullptr;

void ResetDevice(uint32_t deviceId, CallSite site) {
  const int32_t code = zelrtResetDevice(deviceId);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Reset device failed, ret : %d", code);
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
  code = zelrtCreateContext(&context, deviceId);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Create context failed, ret : %d", code);
    ResetDevice(deviceId, site);
    return TranslateStatus(code);
  }
  currentContext = context;
  return STATUS_SUCCESS;
}

void DestroyDeviceContext(uint32_t deviceId, zelrtContext& context, CallSite site) {
  int32_t code = zelrtSetCurrentContext(context);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Set current context failed, ret : %d", code);
  }
  if (context != nullptr) {
    code = zelrtDestroyContext(context);
    if (code != 0) {
      ORMO_LOG_ERROR_AT(site, "Destroy context failed, ret : %d", code);
    }
    context = nullptr;
  }
  currentContext = nullptr;
  ResetDevice(deviceId, site);
  ORMO_LOG_INFO_AT(site, "Reset device %u", deviceId);
}

int MakeContextCurrent(zelrtContext context, CallSite site) {
  if (currentContext == context) {
    return STATUS_SUCCESS;
  }
  const int32_t code = zelrtSetCurrentContext(context);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Set current context failed, ret : %d", code);
    return STATUS_FAILED;
  }
  currentContext = context;
  return STATUS_SUCCESS;
}

}  // namespace Ormo
