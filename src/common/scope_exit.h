/// \file
/// Releases that happen on every way out, and tell of a failure only in the log.
#ifndef ORMO_COMMON_SCOPE_EXIT_H
#define ORMO_COMMON_SCOPE_EXIT_H

#include <cstdint>
#include <type_traits>
#include <utility>

#include "common/call_site.h"
#include "common/log.h"

namespace Ormo {

/// Runs `release`, which returns nothing or a platform code. A failure or an exception is only
/// logged, as a line of the owner `site` of what is released: whatever is to be released next is,
/// also in a destructor during unwinding.
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

/// Does that when the scope ends, unless it was dismissed.
template <typename Release>
class ScopeExit {
 public:
  ScopeExit(const char* what, Release release, const CallSite& site = CallSite::Here())
      : what_(what), release_(std::move(release)), site_(site) {}

  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;

  ~ScopeExit() {
    if (armed_) {
      ReleaseQuietly(what_, release_, site_);
    }
  }

  void Dismiss() noexcept { armed_ = false; }

 private:
  const char* what_;
  Release release_;
  CallSite site_;
  bool armed_ = true;
};

}  // namespace Ormo

#endif  // ORMO_COMMON_SCOPE_EXIT_H
