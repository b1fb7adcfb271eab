#include "single_op/zelnn_prof_manager.h"

#include "common/log.h"
#include "ormo/status.h"

namespace Ormo {

int ZelnnProfManager::ProfStart() {
  if (!HasConfig()) {
    return STATUS_FAILED;
  }
  const int32_t code = ProfOpSubscribe(profSecondId_, profConfig_.zelSubscribeConfig);
  if (code != 0) {
    ORMO_LOG_ERROR("Zel profiling subscribe failed with ret %d", code);
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int ZelnnProfManager::ProfStop() const {
  const int32_t code = ProfOpUnSubscribe(profSecondId_);
  if (code != 0) {
    ORMO_LOG_ERROR("Zel profiling unsubscribe failed with ret %d", code);
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

}  // namespace Ormo
