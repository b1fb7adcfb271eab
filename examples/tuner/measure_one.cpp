// Measures one model, from its file.
#include "ormo/ormo_runner.h"
#include "tuner.h"

namespace {

int Measure(const char* model) {
  Ormo::RunnerConfig config;
  config.modelPath = model;
  config.prof = true;  // figures from the platform's records, not by wall clock
  config.loop = 10;
  config.runTimeBound = 2'000'000'000;  // 2 s: give up on what is slower
  const Ormo::RunRequest request;
  Ormo::RunnerResult result;
  Ormo::RunDetail detail;
  const int status = OrmoOfflineRunDetailed(config, request, result, detail);
  if (status == Ormo::STATUS_NOT_ENOUGH_MEMORY) {
    std::cout << model << " does not fit: " << detail.reason << "\n";
    return 0;
  }
  if (detail.isBoundReached) {  // before the status, which need not tell
    std::cout << model << " is too slow: gave up at execution " << detail.boundExecution << "\n";
    return 0;
  }
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed(model, status, detail.reason);
  }
  if (HasLostRecords(detail)) {  // the cost would be too low
    return Failed(model, status, "records were lost");
  }
  std::cout << model << ": " << result.totalCostTime << " ns, from " << detail.executions.size()
            << " executions on device " << detail.deviceId << "\n";
  for (const auto& [name, cost] : result.opCostTimes) {
    std::cout << "  " << name << ": " << cost << " ns\n";
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return Usage("measure_one MODEL");
  }
  Ormo::RunnerInitConfig devices;
  devices.deviceIds = {0};  // a worker thread each
  const int status = OrmoOfflineRunnerInit(devices);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  const int exitStatus = Measure(argv[1]);
  OrmoOfflineRunnerFinalize();
  return exitStatus;
}
