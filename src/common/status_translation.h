/// \file
/// From the platform's codes to the library's statuses, and what those mean.
#ifndef ORMO_COMMON_STATUS_TRANSLATION_H
#define ORMO_COMMON_STATUS_TRANSLATION_H

#include <cstdint>

#include "ormo/status.h"

namespace Ormo {

/// The status for a platform code other than 0: the codes of a failed allocation have one of their
/// own, all others become `defaultStatus`.
int TranslateStatus(int32_t platformCode, int defaultStatus = STATUS_PLATFORM_FAILED);

/// Whether a run that ended with `status` failed: what does not fit and a bound that is hit are
/// outcomes, not failures.
constexpr bool IsFailure(int status) {
  return status != STATUS_SUCCESS && status != STATUS_NOT_ENOUGH_MEMORY &&
         status != STATUS_OUT_OF_BOUND;
}

}  // namespace Ormo

#endif  // ORMO_COMMON_STATUS_TRANSLATION_H
