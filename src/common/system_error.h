/// \file
/// The line of a failed system call.
#ifndef ORMO_COMMON_SYSTEM_ERROR_H
#define ORMO_COMMON_SYSTEM_ERROR_H

#include "common/call_site.h"
#include "common/log.h"

namespace Ormo {

/// Logs `operation`, `message` and the calling thread's error number with its text. `message` may
/// be the path that the operation failed on.
void LogSystemError(const char* operation, const char* message, int level = DLOG_ERROR,
                    const CallSite& site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_COMMON_SYSTEM_ERROR_H
