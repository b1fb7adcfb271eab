/// \file
/// A named release that happens on every way out of a scope.
#ifndef ORMO_COMMON_SCOPE_EXIT_H
#define ORMO_COMMON_SCOPE_EXIT_H

#include <utility>

#include "common/call_site.h"
#include "common/quiet_release.h"

namespace Ormo {

/// Releases `what` by calling `action` when the scope ends, unless it was dismissed. Failures are
/// only logged, as lines of the scope: it may end because of an exception.
template <typename Action>
class ScopeExit {
 public:
  ScopeExit(const char* what, Action action, const CallSite& site = CallSite::Here())
      : what_(what), action_(std::move(action)), site_(site) {}

  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;

  ~ScopeExit() {
    if (armed_) {
      ReleaseQuietly(what_, action_, site_);
    }
  }

  void Dismiss() noexcept { armed_ = false; }

 private:
  const char* what_;
  Action action_;
  CallSite site_;
  bool armed_ = true;
};

}  // namespace Ormo

#endif  // ORMO_COMMON_SCOPE_EXIT_H
