#include "op_measuring.h"

#include <string>

#include "all_candidates.h"
#include "error_reason.h"
#include "files.h"
#include "ormo/ormo_runner.h"
#include "request_check.h"
#include "runner_session.h"

namespace OrmoMeasure {
namespace {

void MeasureRequest(const OpOptions& options, Measurement& measurement) {
  ErrorContext errors;
  const std::vector<char> text = ReadFile(measurement.model);
  Ormo::ZelnnRunConfig config;
  config.opJson.assign(text.begin(), text.end());
  config.loop = options.loop;
  config.tiling = options.tiling;
  CheckRequest(config.opJson);
  measurement.status = OrmoZelnnRun(config, measurement.result);
  if (measurement.status == Ormo::STATUS_SUCCESS) {
    measurement.SettleByFigures();
    return;
  }
  measurement.reason = errors.TakeReason(
      measurement.status, "the operator is not known, or the platform's log has the reason");
}

}  // namespace

std::vector<Measurement> MeasureRequests(const OpOptions& options) {
  const RunnerSession session(OrmoZelnnRunnerInit, OrmoZelnnRunnerFinalize, options.devices);
  return MeasureAll(
      options.requests, options.devices.size(),
      [&](size_t, Measurement& measurement) { MeasureRequest(options, measurement); });
}

}  // namespace OrmoMeasure
