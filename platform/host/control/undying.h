/// \file
/// State that outlives every caller.
#ifndef ORMO_HOST_CONTROL_UNDYING_H
#define ORMO_HOST_CONTROL_UNDYING_H

#include <cstddef>
#include <new>

namespace OrmoHost {

/// Holds a `T` that is never destroyed, so that a platform call made after the last destructor
/// still meets a valid object. What such an object owns is given up when the host closes
/// (lifetime.cpp).
template <typename T>
class Undying {
 public:
  Undying() { new (storage_) T(); }

  T& operator*() { return *std::launder(reinterpret_cast<T*>(storage_)); }

 private:
  alignas(T) std::byte storage_[sizeof(T)];
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_CONTROL_UNDYING_H
