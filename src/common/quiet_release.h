/// \file
/// Releases that may stand in a destructor during unwinding.
#ifndef ORMO_COMMON_QUIET_RELEASE_H
#define ORMO_COMMON_QUIET_RELEASE_H

#include <cstdint>
#include <type_traits>

#include "common/call_site.h"
#include "common/log.h"

namespace Ormo {

/// Runs `release`, which returns nothing or a platform code. A failure or an exception is only
/// logged, as a line of the owner `site` of what is released, so that whatever is to be released
/// next is.
template <typename Release>
void ReleaseQuietly(const char* what, Release&& release,
                    const CallSite& site = CallSite::Here()) noexcept {
  try {
    if constexpr (std::is_void_v<std::invoke_result_t<Release&>>) {
      release();
    } else {
      const int32_t code = release();
      if (code != 0) {
        ORMO_LOG_ERROR_AT(site, "Release of %s failed, ret : %d", what, code);
      }
    }
  } catch (...) {
    ORMO_LOG_ERROR_AT(site, "Release of %s threw an exception", what);
  }
}

}  // namespace Ormo

#endif  // ORMO_COMMON_QUIET_RELEASE_H
