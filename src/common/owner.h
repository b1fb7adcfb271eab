/// \file
/// The one move-only owner of a handle.
#ifndef ORMO_COMMON_OWNER_H
#define ORMO_COMMON_OWNER_H

#include <utility>

namespace Ormo {

/// Owns a pointer-like handle (null: none) and gives it to `Release`, a noexcept function, once.
template <typename Handle, void (*Release)(Handle) noexcept>
class Owner {
 public:
  Owner() = default;

  explicit Owner(Handle handle) noexcept : handle_(handle) {}

  Owner(Owner&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

  Owner& operator=(Owner&& other) noexcept {
    if (this != &other) {
      Reset(std::exchange(other.handle_, nullptr));
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

  void Reset(Handle handle = nullptr) noexcept {
    Handle old = std::exchange(handle_, handle);
    if (old != nullptr) {
      Release(old);
    }
  }

 private:
  Handle handle_ = nullptr;
};

}  // namespace Ormo

#endif  // ORMO_COMMON_OWNER_H
