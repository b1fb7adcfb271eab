#include "offline_measuring.h"

#include <algorithm>
#include <atomic>
#include <future>

#include "candidate.h"
#include "progress.h"
#include "runner_session.h"

namespace OrmoMeasure {

std::vector<Measurement> MeasureCandidates(const OfflineOptions& options) {
  InputData inputData(options.inputs);
  const std::vector<Ormo::OrmoDataInfo> inputs = inputData.Infos();
  const RunnerSession session(options.devices);
  std::vector<Measurement> measurements(options.models.size());
  Progress progress(options.models.size());
  std::atomic<size_t> next = 0;
  auto takeCandidates = [&] {
    for (size_t i = next++; i < options.models.size(); i = next++) {
      measurements[i] = MeasureCandidate(options, options.models[i], inputs);
      progress.Advance(options.models[i]);
    }
  };
  // A future of std::async waits when it is destroyed: no thread outlives what it works on.
  std::vector<std::future<void>> callers;
  const size_t count = std::min(options.devices.size(), options.models.size());
  for (size_t i = 0; i < count; ++i) {
    callers.push_back(std::async(std::launch::async, takeCandidates));
  }
  for (std::future<void>& caller : callers) {
    caller.get();
  }
  return measurements;
}

}  // namespace OrmoMeasure
