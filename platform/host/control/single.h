/// \file
/// State that outlives every caller.
#ifndef ORMO_HOST_CONTROL_SINGLE_H
#define ORMO_HOST_CONTROL_SINGLE_H

#include <cstddef>
#include <new>

namespace OrmoHost {

/// The one `T` of the host. It is never destroyed, so that a platform call made after the last
/// destructor still meets a valid object; what it owns is given up when the host closes
/// (lifetime.cpp).
template <typename T>
T& Single() {
  struct Storage {
    alignas(T) std::byte bytes[sizeof(T)];

    Storage() { new (bytes) T(); }
  };

  static Storage storage;
  return *std::launder(reinterpret_cast<T*>(storage.bytes));
}

}  // namespace OrmoHost

#endif  // ORMO_HOST_CONTROL_SINGLE_H
