/// \file
/// The scripting point of the functions over the operating system.
#ifndef ORMO_HOST_SERVICES_MM_CALL_H
#define ORMO_HOST_SERVICES_MM_CALL_H

#include <cerrno>
#include <cstdint>

#include "control/host_call.h"

namespace OrmoHost {

/// A HostCall whose failures are negative, as descriptors and counts need, and set the error
/// number.
class MmCall {
 public:
  explicit MmCall(const char* function, Failing failing = Failing::CAN)
      : call_(function, failing) {}

  int32_t Fails() {
    int32_t code = call_.Fails();
    if (code != 0) {
      errno = EIO;
    }
    return code > 0 ? -1 : code;
  }

  int32_t After(int32_t code) {
    int32_t scripted = Fails();
    return scripted != 0 ? scripted : code;
  }

 private:
  HostCall call_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_SERVICES_MM_CALL_H
