#include "runner_session.h"

#include <stdexcept>

#include "error_reason.h"
#include "ormo/ormo_runner.h"

namespace OrmoMeasure {

RunnerSession::RunnerSession(const std::vector<uint32_t>& devices) {
  ErrorContext errors;
  Ormo::RunnerInitConfig config;
  config.deviceIds = devices;
  const int status = OrmoOfflineRunnerInit(config);
  if (status != Ormo::STATUS_SUCCESS) {
    throw std::runtime_error("the devices cannot be used: " + errors.TakeReason(status));
  }
}

RunnerSession::~RunnerSession() {
  OrmoOfflineRunnerFinalize();
}

}  // namespace OrmoMeasure
