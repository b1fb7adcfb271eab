/// \file
/// A named release that happens on every way out of a scope.
#ifndef ORMO_COMMON_SCOPE_EXIT_H
#define ORMO_COMMON_SCOPE_EXIT_H

#include <utility>

#include "common/log.h"

namespace Ormo {

/// Calls `action` when the scope ends, unless it was dismissed. What the action throws is only
/// logged: a scope may end because of an exception.
template <typename Action>
class ScopeExit {
 public:
  explicit ScopeExit(Action action) : action_(std::move(action)) {}

  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;

  ~ScopeExit() {
    if (!armed_) {
      return;
    }
    try {
      action_();
    } catch (...) {
      ORMO_LOG_ERROR("Release at the end of a scope threw an exception");
    }
  }

  void Dismiss() noexcept { armed_ = false; }

 private:
  Action action_;
  bool armed_ = true;
};

}  // namespace Ormo

#endif  // ORMO_COMMON_SCOPE_EXIT_H
