/// \file
/// One object of a class for the process.
#ifndef ORMO_COMMON_SINGLETON_H
#define ORMO_COMMON_SINGLETON_H

#include <atomic>
#include <typeinfo>

#include "common/call_site.h"
#include "common/log.h"

namespace Ormo {

/// Base of the runners. The object is made on the first call of Instance and destroyed when the
/// library is unloaded or the process exits.
template <typename T>
class Singleton {
 public:
  Singleton(const Singleton&) = delete;
  Singleton& operator=(const Singleton&) = delete;

  virtual ~Singleton() { destroyed_ = true; }

  /// Any thread. A call after the object's destruction logs an error, as a line of its caller, and
  /// still returns the address.
  static T* Instance(const CallSite& site = CallSite::Here()) {
    static T instance;
    if (destroyed_) {
      ORMO_LOG_ERROR_AT(
          site,
          "Trying to access singleton <%s> that has already been deconstructed, unexpected runtime "
          "err will occur",
          typeid(T).name());
    }
    return &instance;
  }

 protected:
  Singleton() = default;

 private:
  static std::atomic<bool> destroyed_;
};

template <typename T>
std::atomic<bool> Singleton<T>::destroyed_{false};

}  // namespace Ormo

#endif  // ORMO_COMMON_SINGLETON_H
