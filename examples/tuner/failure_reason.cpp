// Fails in several ways, and says why.
#include "ormo/ormo_runner.h"
#include "tuner.h"

namespace {

void Run(const char* what, Ormo::RunnerConfig config, const Ormo::RunRequest& request) {
  Ormo::RunnerResult result;
  Ormo::RunDetail detail;
  const int status = OrmoOfflineRunDetailed(config, request, result, detail);
  Failed(what, status, detail.reason);
}

void FailOften(const char* model) {
  Ormo::RunnerConfig config;
  config.modelPath = "nowhere.json";
  Run("No such file", config, {});

  config.modelPath = model;
  char byte = 0;
  config.inputs.resize(1);
  config.inputs[0].data = &byte;
  config.inputs[0].size = 1;
  Run("Input of another size", config, {});

  config.inputs.resize(3);
  Run("Too many inputs", config, {});

  config.inputs.clear();
  Ormo::RunRequest request;
  request.deviceId = 7;
  Run("No such device", config, request);

  // A plain call: its reason is the calling thread's until that calls again.
  Ormo::RunnerResult result;
  const int status = OrmoOfflineRunModel(12345, config, result);
  Failed("No such model", status, OrmoGetFailureReason());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return Usage("failure_reason MODEL");
  }
  const int status = OrmoOfflineRunnerInit({});
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  FailOften(argv[1]);
  OrmoOfflineRunnerFinalize();
  return 0;
}
