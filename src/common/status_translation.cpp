#include "common/status_translation.h"

#include "zel/zel.h"

namespace Ormo {

int TranslateStatus(int32_t platformCode, int defaultStatus) {
  switch (platformCode) {
    case ZEL_ERROR_DEVICE_MEMORY_ALLOCATION:
    case ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION:
      return STATUS_MEMORY_ALLOCATION_FAILED;
    default:
      return defaultStatus;
  }
}

}  // namespace Ormo
