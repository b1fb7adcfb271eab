// Measures a model on every device that the platform has.
#include "ormo/ormo_runner.h"
#include "tuner.h"

namespace {

int MeasureOn(uint32_t device, const char* model) {
  Ormo::RunnerConfig config;
  config.modelPath = model;
  config.loop = 10;
  Ormo::RunRequest request;
  request.deviceId = device;
  Ormo::RunnerResult result;
  Ormo::RunDetail detail;
  const int status = OrmoOfflineRunDetailed(config, request, result, detail);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed(model, status, detail.reason);
  }
  std::cout << "device " << detail.deviceId << ": " << result.totalCostTime << " ns, "
            << (detail.isLockHeld ? "locked" : "not locked: others may have disturbed it")
            << ", waited " << detail.lockWaitTime << " ns for the lock\n";
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return Usage("choose_device MODEL");
  }
  // The platform tells the number once it is initialised, which takes a device: 0 is always there.
  int status = OrmoOfflineRunnerInit({});
  uint32_t count = 0;
  if (status == Ormo::STATUS_SUCCESS) {
    status = OrmoGetDeviceCount(count);
    OrmoOfflineRunnerFinalize();
  }
  Ormo::RunnerInitConfig devices;
  for (uint32_t device = 0; device < count; ++device) {
    devices.deviceIds.push_back(device);
  }
  if (status == Ormo::STATUS_SUCCESS) {
    status = OrmoOfflineRunnerInit(devices);
  }
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  int exitStatus = 0;
  for (const uint32_t device : devices.deviceIds) {
    exitStatus |= MeasureOn(device, argv[1]);
  }
  OrmoOfflineRunnerFinalize();
  return exitStatus;
}
