#include "online_measuring.h"

#include "all_candidates.h"
#include "error_reason.h"
#include "graph_candidate.h"
#include "ormo/ormo_runner.h"
#include "ox/session.h"
#include "runner_session.h"

namespace OrmoMeasure {
std::vector<Measurement> MeasureGraphs(const OnlineOptions& options) {
  std::vector<ox::Graph> dependGraphs;
  for (const std::string& file : options.dependGraphs) {
    ErrorContext errors;
    dependGraphs.push_back(LoadGraph(file, errors));
  }
  std::vector<ox::Session> sessions(options.devices.size());
  const RunnerSession runner(OrmoOnlineRunnerInit, OrmoOnlineRunnerFinalize, options.devices);
  return MeasureAll(options.graphs, sessions.size(), [&](size_t caller, Measurement& measurement) {
    MeasureGraph(options, sessions[caller], dependGraphs, measurement);
  });
}

}  // namespace OrmoMeasure
