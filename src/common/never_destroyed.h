/// \file
/// Statics that threads may still use while the process ends.
#ifndef ORMO_COMMON_NEVER_DESTROYED_H
#define ORMO_COMMON_NEVER_DESTROYED_H

namespace Ormo {

/// Makes a T in place and never destroys it: a thread that is missing in a forked child, or that is
/// ending the process from a signal handler, may stand in the middle of it for good.
template <typename T>
class NeverDestroyed {
 public:
  NeverDestroyed() : object_() {}

  ~NeverDestroyed() {}  // NOLINT(modernize-use-equals-default): that of a union is deleted

  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& operator*() noexcept { return object_; }

  T* operator->() noexcept { return &object_; }

 private:
  union {
    T object_;
  };
};

}  // namespace Ormo

#endif  // ORMO_COMMON_NEVER_DESTROYED_H
