#include "online_measuring.h"

#include <stdexcept>

#include "all_candidates.h"
#include "error_reason.h"
#include "graph_candidate.h"
#include "ormo/ormo_runner.h"
#include "ox/session.h"

namespace OrmoMeasure {
namespace {

/// The library's online runner, initialised.
class OnlineRunnerSession {
 public:
  explicit OnlineRunnerSession(const std::vector<uint32_t>& devices) {
    ErrorContext errors;
    Ormo::RunnerInitConfig config;
    config.deviceIds = devices;
    const int status = OrmoOnlineRunnerInit(config);
    if (status != Ormo::STATUS_SUCCESS) {
      throw std::runtime_error("the devices cannot be used: " + errors.TakeReason(status));
    }
  }

  ~OnlineRunnerSession() { OrmoOnlineRunnerFinalize(); }

  OnlineRunnerSession(const OnlineRunnerSession&) = delete;
  OnlineRunnerSession& operator=(const OnlineRunnerSession&) = delete;
};

}  // namespace

std::vector<Measurement> MeasureGraphs(const OnlineOptions& options) {
  std::vector<ox::Graph> dependGraphs;
  for (const std::string& file : options.dependGraphs) {
    ErrorContext errors;
    dependGraphs.push_back(LoadGraph(file, errors));
  }
  std::vector<ox::Session> sessions(options.devices.size());
  const OnlineRunnerSession runner(options.devices);
  return MeasureAll(options.graphs, sessions.size(), [&](size_t caller, const std::string& graph) {
    return MeasureGraph(options, sessions[caller], dependGraphs, graph);
  });
}

}  // namespace OrmoMeasure
