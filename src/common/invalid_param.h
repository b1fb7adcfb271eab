/// \file
/// Errors that the user of the tuning tool must see.
#ifndef ORMO_COMMON_INVALID_PARAM_H
#define ORMO_COMMON_INVALID_PARAM_H

#include <cstdint>
#include <string>

#include "common/call_site.h"

namespace Ormo {

/// Codes of the platform's error catalogue.
constexpr char ERROR_CODE_ENVIRONMENT[] = "EG0013";
constexpr char ERROR_CODE_PERMISSION[] = "EG0010";

/// Reports `reason` under `errorCode` to the error manager, attributed to the calling thread's
/// error context. Logs nothing; the caller's own status carries the failure.
void ReportReason(const std::string& errorCode, const std::string& reason);

/// Logs `reason` as an invalid parameter found at `site` and reports it as ERROR_CODE_ENVIRONMENT.
void ReportInvalidParam(const std::string& reason, const CallSite& site = CallSite::Here());

/// The invalid parameters that all runners on devices know.
void ReportNoAvailableDevice(const CallSite& site = CallSite::Here());
void ReportMissingDevice(uint32_t deviceId, const CallSite& site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_COMMON_INVALID_PARAM_H
