#include "profiling/offline_manager.h"

#include "common/log.h"
#include "ormo/status.h"

namespace Ormo {

int OfflineManager::ProfStart() {
  if (modelId == 0) {
    ORMO_LOG_ERROR("Invalid model id 0");
    return STATUS_FAILED;
  }
  return Subscribe(zelprofModelSubscribe, modelId);
}

int OfflineManager::ProfStop() const {
  return Unsubscribe(zelprofModelUnSubscribe, modelId);
}

}  // namespace Ormo
