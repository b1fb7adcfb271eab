/// \file
/// State that outlives every caller.
#ifndef ORMO_HOST_SEAM_SINGLE_H
#define ORMO_HOST_SEAM_SINGLE_H

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

    Storage() { new (bytes) T(); }  // NOLINT(cppcoreguidelines-pro-type-member-init)
  };

  static Storage storage;
  return *std::launder(reinterpret_cast<T*>(storage.bytes));
}

/// Gives up a container's memory, not only its elements: nothing may be left of a library that was
/// unloaded.
template <typename Container>
void Forget(Container& container) {
  Container().swap(container);
}

}  // namespace OrmoHost

#endif  // ORMO_HOST_SEAM_SINGLE_H
