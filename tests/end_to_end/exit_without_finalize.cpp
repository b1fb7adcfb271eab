// Measures and exits while the runner is still initialised, a model loaded and the timeline
// written.
#include <cstdio>
#include <string>

#include "ormo/ormo_runner.h"
#include "ormo/trace.h"

// Arguments: directory of the timeline, text of a graph.
int main(int /*argc*/, char** argv) {
  Ormo::Trace::StartDumpTraceToPath(argv[1]);
  const std::string graph = argv[2];
  Ormo::RunnerConfig config;
  config.modelData.data = argv[2];
  config.modelData.size = graph.size();
  uint32_t modelId = 0;
  bool measured = OrmoOfflineRunnerInit({{0, 1}}) == Ormo::STATUS_SUCCESS &&
                  OrmoOfflineLoadFromMem(config.modelData, modelId) == Ormo::STATUS_SUCCESS;
  for (const bool prof : {false, true}) {
    config.prof = prof;
    Ormo::RunnerResult result;
    measured = measured && OrmoOfflineRunModel(modelId, config, result) == Ormo::STATUS_SUCCESS &&
               OrmoOfflineRun(config, result) == Ormo::STATUS_SUCCESS;
  }
  std::puts(measured ? "measured" : "failed");
  return 0;
}
