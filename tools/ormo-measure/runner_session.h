/// \file
/// The library's offline runner, initialised.
#ifndef ORMO_MEASURE_RUNNER_SESSION_H
#define ORMO_MEASURE_RUNNER_SESSION_H

#include <cstdint>
#include <vector>

namespace OrmoMeasure {

/// Initialises the offline runner, and finalises it at the end of its life.
class RunnerSession {
 public:
  /// Throws std::runtime_error with the reason when the devices cannot be used.
  explicit RunnerSession(const std::vector<uint32_t>& devices);
  ~RunnerSession();
  RunnerSession(const RunnerSession&) = delete;
  RunnerSession& operator=(const RunnerSession&) = delete;
};

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_RUNNER_SESSION_H
