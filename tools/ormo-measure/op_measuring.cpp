#include "op_measuring.h"

#include <string>

#include "all_candidates.h"
#include "error_reason.h"
#include "files.h"
#include "lost_records.h"
#include "ormo/ormo_runner.h"
#include "ormo/ormo_runner_detail.h"
#include "request_check.h"
#include "runner_session.h"

namespace OrmoMeasure {
namespace {

void MeasureRequest(const OpOptions& options, Measurement& measurement) {
  const std::vector<char> text = ReadFile(measurement.model);
  Ormo::ZelnnRunConfig config;
  config.opJson.assign(text.begin(), text.end());
  config.loop = options.loop;
  config.tiling = options.tiling;
  CheckRequest(config.opJson);
  Ormo::RunDetail detail;
  measurement.status = OrmoZelnnRunDetailed(config, {}, measurement.result, detail);
  measurement.deviceId = detail.deviceId;
  measurement.reason = JoinLines(detail.reason);
  if (measurement.status == Ormo::STATUS_SUCCESS) {
    measurement.lostRecords = DescribeLostRecords(detail);
    measurement.SettleByFigures();
  }
}

}  // namespace

std::vector<Measurement> MeasureRequests(const OpOptions& options) {
  const RunnerSession session(OrmoZelnnRunnerInit, OrmoZelnnRunnerFinalize, options.devices);
  return MeasureAll(
      options.requests, options.devices.size(),
      [&](size_t, Measurement& measurement) { MeasureRequest(options, measurement); });
}

}  // namespace OrmoMeasure
