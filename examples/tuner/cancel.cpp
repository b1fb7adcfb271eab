// Ends a measurement from another thread, and measures again.
#include <chrono>
#include <future>
#include <thread>

#include "ormo/ormo_runner.h"
#include "tuner.h"

namespace {

int CancelAndRunAgain(const char* model) {
  Ormo::RunnerConfig config;
  config.modelPath = model;
  config.loop = 1'000'000'000;  // would take for ever
  Ormo::CancelToken token;
  Ormo::RunRequest request;
  request.cancelToken = &token;
  Ormo::RunnerResult result;
  Ormo::RunDetail detail;
  auto run = std::async(std::launch::async,
                        [&] { return OrmoOfflineRunDetailed(config, request, result, detail); });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  token.Cancel();
  int status = run.get();
  if (!detail.isCancelled) {
    return Failed(model, status, detail.reason);
  }
  std::cout << "status " << status << " at execution " << detail.executionsBegun << ": "
            << detail.reason << "\n";

  config.loop = 3;
  request.cancelToken = nullptr;  // the token is spent: another run needs another one, or none
  status = OrmoOfflineRunDetailed(config, request, result, detail);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed(model, status, detail.reason);
  }
  std::cout << "status " << status << " after " << detail.executionsBegun << " executions\n";
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return Usage("cancel MODEL");
  }
  const int status = OrmoOfflineRunnerInit({});
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  const int exitStatus = CancelAndRunAgain(argv[1]);
  OrmoOfflineRunnerFinalize();
  return exitStatus;
}
