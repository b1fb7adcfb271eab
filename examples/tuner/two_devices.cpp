// Measures candidates on two devices at a time, a thread for each, and ranks them.
#include <atomic>
#include <future>
#include <tuple>

#include "ormo/ormo_runner.h"
#include "tuner.h"

namespace {

struct Candidate {
  std::string model;
  int status = Ormo::STATUS_FAILED;
  std::string failure;  // empty: its cost can be compared
  uint64_t cost = 0;
};

void Measure(uint32_t device, Candidate& candidate) {
  Ormo::RunnerConfig config;
  config.modelPath = candidate.model;
  config.prof = true;
  config.loop = 10;
  config.runTimeBound = 2'000'000'000;
  Ormo::RunRequest request;
  request.deviceId = device;
  Ormo::RunnerResult result;
  Ormo::RunDetail detail;
  candidate.status = OrmoOfflineRunDetailed(config, request, result, detail);
  candidate.cost = result.totalCostTime;
  if (candidate.status != Ormo::STATUS_SUCCESS) {
    candidate.failure = detail.reason;
  } else if (detail.isBoundReached) {
    candidate.failure = "too slow";
  } else if (HasLostRecords(detail)) {
    candidate.failure = "records were lost";
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<Candidate> candidates;
  for (int i = 1; i < argc; ++i) {
    candidates.emplace_back().model = argv[i];
  }
  Ormo::RunnerInitConfig devices;
  devices.deviceIds = {0, 1};
  const int status = OrmoOfflineRunnerInit(devices);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  std::atomic<size_t> next{0};
  const auto measureOn = [&](uint32_t device) {
    for (size_t i = next++; i < candidates.size(); i = next++) {
      Measure(device, candidates[i]);
    }
  };
  auto other = std::async(std::launch::async, measureOn, 1);
  measureOn(0);
  other.get();
  OrmoOfflineRunnerFinalize();

  std::sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
    return std::make_tuple(!a.failure.empty(), a.cost) <
           std::make_tuple(!b.failure.empty(), b.cost);
  });
  for (const Candidate& candidate : candidates) {
    if (candidate.failure.empty()) {
      std::cout << candidate.model << ": " << candidate.cost << " ns\n";
    } else {
      Failed(candidate.model, candidate.status, candidate.failure);
    }
  }
  return 0;
}
