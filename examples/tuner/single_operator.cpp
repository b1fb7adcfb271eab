// Measures one operator, from a request in JSON.
#include "ormo/ormo_runner.h"
#include "tuner.h"

namespace {

int Measure(const char* file) {
  const std::vector<char> text = ReadFile(file);
  Ormo::ZelnnRunConfig config;
  config.opJson.assign(text.begin(), text.end());
  config.loop = 10;
  Ormo::RunnerResult result;
  Ormo::RunDetail detail;
  const int status = OrmoZelnnRunDetailed(config, {}, result, detail);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed(file, status, detail.reason);
  }
  if (HasLostRecords(detail)) {
    return Failed(file, status, "records were lost");
  }
  for (const auto& [name, cost] : result.opCostTimes) {
    std::cout << name << ": " << cost << " ns, of which " << result.aicoreCostTimes[name]
              << " ns on the compute cores\n";
  }
  std::cout << "Reading, launching and measuring took "
            << *std::min_element(detail.wallTimes.begin(), detail.wallTimes.end())
            << " ns at least\n";
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return Usage("single_operator REQUEST");
  }
  const int status = OrmoZelnnRunnerInit({});
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  const int exitStatus = Measure(argv[1]);
  OrmoZelnnRunnerFinalize();
  return exitStatus;
}
