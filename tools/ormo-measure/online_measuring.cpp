#include "online_measuring.h"

#include "all_candidates.h"
#include "graph_candidate.h"
#include "ormo/ormo_runner.h"
#include "ox/session.h"
#include "runner_session.h"

namespace OrmoMeasure {

std::vector<Measurement> MeasureGraphs(const OnlineOptions& options) {
  std::vector<ox::Graph> dependGraphs;
  for (const std::string& file : options.dependGraphs) {
    dependGraphs.push_back(LoadGraph(file));
  }
  std::vector<ox::Session> sessions(options.devices.size());
  const RunnerSession runner(OrmoOnlineRunnerInit, OrmoOnlineRunnerFinalize, options.devices);
  return MeasureAll(options.graphs, sessions.size(), [&](size_t caller, Measurement& measurement) {
    MeasureGraph(options, sessions[caller], dependGraphs, measurement);
  });
}

}  // namespace OrmoMeasure
