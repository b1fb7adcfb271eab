#include "offline_measuring.h"

#include "all_candidates.h"
#include "candidate.h"
#include "ormo/ormo_runner.h"
#include "runner_session.h"

namespace OrmoMeasure {

std::vector<Measurement> MeasureCandidates(const OfflineOptions& options) {
  InputData inputData(options.inputs);
  const std::vector<Ormo::OrmoDataInfo> inputs = inputData.Infos();
  const RunnerSession session(OrmoOfflineRunnerInit, OrmoOfflineRunnerFinalize, options.devices);
  return MeasureAll(options.models, options.devices.size(), [&](size_t, Measurement& measurement) {
    MeasureCandidate(options, inputs, measurement);
  });
}

}  // namespace OrmoMeasure
