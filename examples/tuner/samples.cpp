// Shows each execution of a model: its time by wall clock, its cost and its operators by the
// records.
#include "ormo/ormo_runner.h"
#include "tuner.h"

namespace {

void Print(const Ormo::RunDetail& detail) {
  for (size_t i = 0; i < detail.executions.size(); ++i) {
    const Ormo::RunnerRunResult& execution = detail.executions[i];
    std::cout << "execution " << i << ": " << execution.modelInfos.at(0).costTime << " ns, "
              << detail.wallTimes.at(i) << " ns by wall clock\n";
    for (const Ormo::RunnerOpInfo& op : execution.opInfos) {
      std::cout << "  after " << op.startTime - execution.opInfos[0].startTime << " ns "
                << op.opName << " (" << op.opType << "): " << op.opCostTime << " ns\n";
    }
  }
  std::vector<uint64_t> sorted = detail.wallTimes;
  std::sort(sorted.begin(), sorted.end());
  std::cout << "by wall clock: " << sorted.front() << " ns at least, " << sorted[sorted.size() / 2]
            << " ns as often as not, " << sorted.back() << " ns at most\n";
}

int Measure(const char* model) {
  Ormo::RunnerConfig config;
  config.modelPath = model;
  config.prof = true;
  config.loop = 5;
  Ormo::RunRequest request;
  // At once, instead of a second after the last record: for platforms that allow it.
  request.profilingEnd = Ormo::ProfilingEnd::BY_CLOSING;
  Ormo::RunnerResult result;
  Ormo::RunDetail detail;
  const int status = OrmoOfflineRunDetailed(config, request, result, detail);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed(model, status, detail.reason);
  }
  if (HasLostRecords(detail)) {  // then the n-th of the one need not be the n-th of the other
    return Failed(model, status, "records were lost");
  }
  Print(detail);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return Usage("samples MODEL");
  }
  const int status = OrmoOfflineRunnerInit({});  // device 0
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  const int exitStatus = Measure(argv[1]);
  OrmoOfflineRunnerFinalize();
  return exitStatus;
}
