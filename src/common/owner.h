/// \file
/// The one move-only owner of a handle.
#ifndef ORMO_COMMON_OWNER_H
#define ORMO_COMMON_OWNER_H

#include <type_traits>
#include <utility>

#include "common/call_site.h"

namespace Ormo {

/// Owns a pointer-like handle (null: none) and gives it to `Release`, a noexcept function, once. A
/// `Release` that can fail also takes the place where the owner got the handle: it logs there.
template <typename Handle, auto Release>
class Owner {
 public:
  Owner() = default;

  explicit Owner(Handle handle, const CallSite& site = CallSite::Here()) noexcept
      : handle_(handle), site_(site) {}

  Owner(Owner&& other) noexcept
      : handle_(std::exchange(other.handle_, nullptr)), site_(other.site_) {}

  Owner& operator=(Owner&& other) noexcept {
    if (this != &other) {
      Reset(std::exchange(other.handle_, nullptr), other.site_);
    }
    return *this;
  }

  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;

  ~Owner() { Reset(); }

  Handle Get() const noexcept { return handle_; }

  explicit operator bool() const noexcept { return handle_ != nullptr; }

  /// Gives the handle up without releasing it.
  Handle Detach() noexcept { return std::exchange(handle_, nullptr); }

  void Reset(Handle handle = nullptr, const CallSite& site = CallSite::Here()) noexcept {
    Handle old = std::exchange(handle_, handle);
    const CallSite oldSite = std::exchange(site_, site);
    if (old == nullptr) {
      return;
    }
    if constexpr (std::is_nothrow_invocable_v<decltype(Release), Handle, const CallSite&>) {
      Release(old, oldSite);
    } else {
      static_assert(std::is_nothrow_invocable_v<decltype(Release), Handle>);
      Release(old);
    }
  }

 private:
  Handle handle_ = nullptr;
  CallSite site_{"", 0};
};

}  // namespace Ormo

#endif  // ORMO_COMMON_OWNER_H
