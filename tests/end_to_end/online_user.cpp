#include "end_to_end/online_user.h"

#include <memory>
#include <vector>

#include "ox/graph_utils.h"
#include "ox/session.h"

bool RunGraph(decltype(OrmoOnlineRun)* run, const char* file) {
  static Ormo::RunnerConfig config;
  ox::Session session;
  std::shared_ptr<ox::ComputeGraph> content;
  if (!ox::GraphUtils::LoadOXGraph(file, content)) {
    return false;
  }
  config.session = &session;
  std::vector<Ormo::RunnerRunResult> results;
  bool isMeasured = true;
  for (const bool prof : {false, true}) {
    config.prof = prof;
    isMeasured = isMeasured && run(ox::Graph(content), config, results) == 0;
  }
  return isMeasured && results.size() == 1 && config.graphInputs.size() == 1 &&
         config.graphOutputs.size() == 2;
}
