#include "runner_session.h"

#include <stdexcept>

#include "error_reason.h"
#include "ormo/ormo_runner_detail.h"
#include "ormo/status.h"

namespace OrmoMeasure {

RunnerSession::RunnerSession(Initialize initialize, Finalize finalize,
                             const std::vector<uint32_t>& devices)
    : finalize_(finalize) {
  ErrorContext errors;
  Ormo::RunnerInitConfig config;
  config.deviceIds = devices;
  const int status = initialize(config);
  if (status != Ormo::STATUS_SUCCESS) {
    throw std::runtime_error("the devices cannot be used: " +
                             errors.TakeReason(OrmoGetFailureReason()));
  }
}

RunnerSession::~RunnerSession() {
  finalize_();
}

}  // namespace OrmoMeasure
