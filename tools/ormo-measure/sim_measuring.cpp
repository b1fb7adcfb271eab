#include "sim_measuring.h"

#include <stdexcept>

#include "error_reason.h"
#include "ormo/ormo_runner.h"
#include "ormo/ormo_runner_detail.h"
#include "progress.h"

namespace OrmoMeasure {
namespace {

// The library's simulator runner, initialised.
class SimulatorSession {
 public:
  SimulatorSession() {
    ErrorContext errors;
    if (OrmoPeltRunnerInit() != Ormo::STATUS_SUCCESS) {
      throw std::runtime_error("the simulator cannot be used: " +
                               errors.TakeReason(OrmoGetFailureReason()));
    }
  }

  ~SimulatorSession() { OrmoPeltRunnerFinalize(); }

  SimulatorSession(const SimulatorSession&) = delete;
  SimulatorSession& operator=(const SimulatorSession&) = delete;
};

Measurement Failed(Measurement measurement, const std::string& reason) {
  measurement.outcome = Outcome::FAILED;
  measurement.reason = reason;
  // The kernels so far make no total.
  measurement.result = {};
  return measurement;
}

Measurement SimulateGraph(const std::string& graph) {
  Measurement measurement;
  measurement.model = graph;
  ErrorContext errors;
  measurement.status = OrmoPeltRun(graph, measurement.result);
  if (measurement.status != Ormo::STATUS_SUCCESS) {
    return Failed(measurement, errors.TakeReason(OrmoGetFailureReason()));
  }
  if (measurement.result.opCostTimes.empty()) {
    return Failed(measurement, "the graph names no kernels");
  }
  if (!measurement.HasFigures()) {
    return Failed(measurement, "the simulator counted no ticks");
  }
  measurement.outcome = Outcome::MEASURED;
  return measurement;
}

}  // namespace

std::vector<Measurement> SimulateGraphs(const SimOptions& options) {
  const SimulatorSession session;
  std::vector<Measurement> measurements;
  Progress progress(options.graphs.size());
  for (const std::string& graph : options.graphs) {
    measurements.push_back(SimulateGraph(graph));
    progress.Advance(graph);
  }
  return measurements;
}

}  // namespace OrmoMeasure
