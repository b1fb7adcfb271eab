// Measures and exits while all runners of devices are still initialised, a model loaded and the
// timeline written.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "ormo/ormo_runner.h"
#include "ormo/trace.h"
#include "ox/graph_utils.h"
#include "ox/session.h"

namespace {

bool MeasureGraph(const char* file) {
  ox::Session session;
  std::shared_ptr<ox::ComputeGraph> content;
  if (!ox::GraphUtils::LoadOXGraph(file, content) || OrmoOnlineRunnerInit({{0}}) != 0) {
    return false;
  }
  Ormo::RunnerConfig config;
  config.session = &session;
  config.prof = true;
  config.dependGraphs = {ox::Graph(content)};
  std::vector<Ormo::RunnerRunResult> results;
  return OrmoOnlineRun(ox::Graph(content), config, results) == Ormo::STATUS_SUCCESS;
}

}  // namespace

// Arguments: directory of the timeline, texts of a graph and of an operator call, a graph's file.
int main(int /*argc*/, char** argv) {
  Ormo::Trace::StartDumpTraceToPath(argv[1]);
  const std::string graph = argv[2];
  Ormo::RunnerConfig config;
  config.modelData.data = argv[2];
  config.buildRunKey = "build";
  config.modelData.size = graph.size();
  uint32_t modelId = 0;
  bool measured = OrmoOfflineRunnerInit({{0}}) == Ormo::STATUS_SUCCESS &&
                  OrmoOfflineLoadFromMem(config.modelData, modelId) == Ormo::STATUS_SUCCESS;
  for (const bool prof : {false, true}) {
    config.prof = prof;
    Ormo::RunnerResult result;
    measured = measured && OrmoOfflineRunModel(modelId, config, result) == Ormo::STATUS_SUCCESS &&
               OrmoOfflineRun(config, result) == Ormo::STATUS_SUCCESS;
  }
  Ormo::ZelnnRunConfig call;
  call.opJson = argv[3];
  Ormo::RunnerResult result;
  measured = measured && OrmoZelnnRunnerInit({{0}}) == Ormo::STATUS_SUCCESS &&
             OrmoZelnnRun(call, result) == Ormo::STATUS_SUCCESS && MeasureGraph(argv[4]);
  std::puts(measured ? "measured" : "failed");
  return 0;
}
