#include "common/invalid_param.h"

#include "common/log.h"
#include "ormo/ormo_error_manager.h"

namespace Ormo {

void ReportReason(const std::string& errorCode, const std::string& reason) {
  OrmoErrorManager::GetInstance().OrmoReportErrorMessage(errorCode, {{"reason", reason}});
}

void ReportInvalidParam(const std::string& reason, const CallSite& site) {
  ORMO_LOG_ERROR_AT(site, "Invalid param: %s", reason.c_str());
  ReportReason(ERROR_CODE_ENVIRONMENT, reason);
}

void ReportNoAvailableDevice(const CallSite& site) {
  ReportInvalidParam("No available device. Please check the device status", site);
}

void ReportMissingDevice(uint32_t deviceId, const CallSite& site) {
  ReportInvalidParam("Device [" + std::to_string(deviceId) + "] does not exist", site);
}

}  // namespace Ormo
