#include "online/online_manager.h"

#include "common/log.h"
#include "ormo/status.h"

namespace Ormo {
namespace {

constexpr uint32_t INVALID_GRAPH_ID = 0xFFFFFFFF;

}  // namespace

int OnlineManager::ProfStart() {
  if (profId_ == INVALID_GRAPH_ID) {
    ORMO_LOG_ERROR("Invalid model id 0");
    return STATUS_FAILED;
  }
  if (profConfig_.zelSubscribeConfig == nullptr) {
    ORMO_LOG_ERROR("Invalid ptr parameter [profConfig_.zelSubscribeConfig](nullptr).");
    return STATUS_FAILED;
  }
  const int32_t code = zelgrphProfGraphSubscribe(profId_, profConfig_.zelSubscribeConfig);
  if (code != 0) {
    ORMO_LOG_ERROR("Zel profiling subscribe failed with ret %u", static_cast<uint32_t>(code));
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int OnlineManager::ProfStop() const {
  const int32_t code = zelgrphProfGraphUnSubscribe(profId_);
  if (code != 0) {
    ORMO_LOG_ERROR("Zel profiling unsubscribe failed with ret %u", static_cast<uint32_t>(code));
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

}  // namespace Ormo
