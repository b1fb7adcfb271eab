/// \file
/// From the platform's codes to the library's statuses.
#ifndef ORMO_COMMON_STATUS_TRANSLATION_H
#define ORMO_COMMON_STATUS_TRANSLATION_H

#include <cstdint>

#include "ormo/status.h"

namespace Ormo {

/// The status for a platform code other than 0: the codes of a failed allocation have one of their
/// own, all others become `defaultStatus`.
int TranslateStatus(int32_t platformCode, int defaultStatus = STATUS_PLATFORM_FAILED);

}  // namespace Ormo

#endif  // ORMO_COMMON_STATUS_TRANSLATION_H
