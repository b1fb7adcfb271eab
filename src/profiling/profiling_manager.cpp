#include "profiling/profiling_manager.h"

#include "common/log.h"
#include "common/scope_exit.h"
#include "ormo/status.h"
#include "ormo/trace.h"

namespace Ormo {

int ProfilingManager::CreateConfig() {
  return ProfCreateConfig();
}

int ProfilingManager::DestroyConfig() const {
  return ProfDestroyConfig();
}

int ProfilingManager::Start() {
  Trace span("prof start");
  span.Start();
  return ProfStart();
}

int ProfilingManager::Stop() const {
  Trace span("prof stop");
  span.Start();
  return ProfStop();
}

bool ProfilingManager::HasConfig(CallSite site) const {
  if (profConfig_.zelSubscribeConfig == nullptr) {
    ORMO_LOG_ERROR_AT(site, "Invalid ptr parameter [profConfig_.zelSubscribeConfig](nullptr).");
    return false;
  }
  return true;
}

int ProfilingManager::Subscribe(int32_t (*subscribe)(uint32_t, zelprofSubscribeConfig*),
                                uint32_t id, CallSite site) const {
  if (!HasConfig(site)) {
    return STATUS_FAILED;
  }
  const int32_t code = subscribe(id, profConfig_.zelSubscribeConfig);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Zel profiling subscribe failed with ret %u",
                      static_cast<uint32_t>(code));
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int ProfilingManager::Unsubscribe(int32_t (*unsubscribe)(uint32_t), uint32_t id, CallSite site) {
  const int32_t code = unsubscribe(id);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Zel profiling unsubscribe failed with ret %u",
                      static_cast<uint32_t>(code));
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int ProfilingManager::ProfCreateConfig() {
  if (profConfig_.fd == nullptr) {
    ORMO_LOG_ERROR("Invalid parameter [profConfig_.fd](%d).", 0);
    return STATUS_FAILED;
  }
  profConfig_.zelSubscribeConfig =
      zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, profConfig_.fd);
  if (profConfig_.zelSubscribeConfig == nullptr) {
    ORMO_LOG_ERROR("Create profiling config failed");
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int ProfilingManager::ProfDestroyConfig() const {
  if (!HasConfig()) {
    return STATUS_FAILED;
  }
  const int32_t code = zelprofDestroySubscribeConfig(profConfig_.zelSubscribeConfig);
  if (code != 0) {
    ORMO_LOG_ERROR("Zel destroy profiling config failed with ret %u", static_cast<uint32_t>(code));
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int RunSubscribed(ProfilingManager& profiling, const std::function<int()>& work) {
  if (profiling.CreateConfig() != STATUS_SUCCESS) {
    return STATUS_FAILED;
  }
  const ScopeExit destroyConfig("the profiling configuration",
                                [&profiling] { profiling.DestroyConfig(); });
  if (profiling.Start() != STATUS_SUCCESS) {
    return STATUS_FAILED;
  }
  ScopeExit stop("the profiling subscription", [&profiling] { profiling.Stop(); });
  const int status = work();
  stop.Dismiss();
  const int stopStatus = profiling.Stop();
  return status != STATUS_SUCCESS ? status : stopStatus;
}

}  // namespace Ormo
