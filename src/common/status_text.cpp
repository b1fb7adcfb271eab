#include "common/status_text.h"

#include "ormo/status.h"

namespace Ormo {

const char* StatusText(int status) noexcept {
  switch (status) {
    case STATUS_SUCCESS:
      return "success";
    case STATUS_INVALID_PARAM:
      return "a value cannot be used";
    case STATUS_LIBRARY_NOT_LOADED:
      return "the simulator's library cannot be loaded";
    case STATUS_FUNCTION_MISSING:
      return "the simulator's library lacks a function";
    case STATUS_DEVICE_MEMORY_FAILED:
      return "device memory could not be had or copied";
    case STATUS_NOT_ENOUGH_MEMORY:
      return "not enough free device memory";
    case STATUS_PLATFORM_FAILED:
      return "the platform could not create an object";
    case STATUS_MEMORY_ALLOCATION_FAILED:
      return "the platform could not allocate memory";
    case STATUS_EXECUTE_FAILED:
      return "an execution failed";
    case STATUS_OUT_OF_BOUND:
      return "an execution reached the time bound";
    case STATUS_DYNAMIC_PARAM_FAILED:
      return "the dynamic setting could not be applied";
    case STATUS_PROFILING_FAILED:
      return "the profiling records could not be read";
    case STATUS_FAILED:
      return "failed";
    default:
      return "an unknown status";
  }
}

}  // namespace Ormo
