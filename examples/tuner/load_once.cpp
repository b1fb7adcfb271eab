// Loads a model once, from memory, and runs it several times.
#include "ormo/ormo_runner.h"
#include "tuner.h"

namespace {

int RunOften(uint32_t modelId) {
  for (const uint32_t loop : {1U, 5U, 20U}) {
    Ormo::RunnerConfig config;  // by wall clock
    config.loop = loop;
    const Ormo::RunRequest request;  // on the model's own device
    Ormo::RunnerResult result;
    Ormo::RunDetail detail;
    const int status = OrmoOfflineRunModelDetailed(modelId, config, request, result, detail);
    if (status != Ormo::STATUS_SUCCESS) {
      return Failed("Run", status, detail.reason);
    }
    std::cout << detail.executionsBegun << " executions on device " << detail.deviceId << ": "
              << result.totalCostTime << " ns each\n";
  }
  return 0;
}

int LoadAndRun(const char* file) {
  std::vector<char> image = ReadFile(file);
  Ormo::ModelInfo model;
  model.modelData.data = image.data();  // used only while it is loaded
  model.modelData.size = image.size();
  const int status = OrmoOfflineLoadOnDevice(model, 0);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed(file, status, OrmoGetFailureReason());
  }
  const int exitStatus = RunOften(model.modelId);
  OrmoOfflineUnloadModel(model.modelId);
  return exitStatus;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return Usage("load_once MODEL");
  }
  Ormo::RunnerInitConfig devices;
  devices.deviceIds = {0};
  const int status = OrmoOfflineRunnerInit(devices);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  const int exitStatus = LoadAndRun(argv[1]);
  OrmoOfflineRunnerFinalize();
  return exitStatus;
}
