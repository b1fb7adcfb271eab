#include "all_candidates.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <future>

#include "progress.h"

namespace OrmoMeasure {
namespace {

void MeasureOne(const Measure& measure, size_t caller, Measurement& measurement) {
  try {
    measure(caller, measurement);
  } catch (const std::exception& e) {
    measurement.outcome = Outcome::FAILED;
    measurement.reason = e.what();
  }
}

}  // namespace

std::vector<Measurement> MeasureAll(const std::vector<std::string>& candidates, size_t callers,
                                    const Measure& measure) {
  std::vector<Measurement> measurements(candidates.size());
  Progress progress(candidates.size());
  std::atomic<size_t> next = 0;
  auto takeCandidates = [&](size_t caller) {
    for (size_t i = next++; i < candidates.size(); i = next++) {
      measurements[i].model = candidates[i];
      MeasureOne(measure, caller, measurements[i]);
      progress.Advance(candidates[i]);
    }
  };
  // A future of std::async waits when it is destroyed: no thread outlives what it works on.
  std::vector<std::future<void>> futures;
  for (size_t caller = 0; caller < std::min(callers, candidates.size()); ++caller) {
    futures.push_back(std::async(std::launch::async, takeCandidates, caller));
  }
  for (std::future<void>& future : futures) {
    future.get();
  }
  return measurements;
}

}  // namespace OrmoMeasure
