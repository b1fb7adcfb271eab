// Measures and exits while two runners are still initialised, a model loaded and the timeline
// written.
#include <cstdio>
#include <string>

#include "ormo/ormo_runner.h"
#include "ormo/trace.h"

// Arguments: directory of the timeline, texts of a graph and of an operator call.
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
  Ormo::ZelnnRunConfig call;
  call.opJson = argv[3];
  Ormo::RunnerResult result;
  measured = measured && OrmoZelnnRunnerInit({{0, 1}}) == Ormo::STATUS_SUCCESS &&
             OrmoZelnnRun(call, result) == Ormo::STATUS_SUCCESS;
  std::puts(measured ? "measured" : "failed");
  return 0;
}
