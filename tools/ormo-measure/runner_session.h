/// \file
/// A runner of the library, initialised.
#ifndef ORMO_MEASURE_RUNNER_SESSION_H
#define ORMO_MEASURE_RUNNER_SESSION_H

#include <cstdint>
#include <vector>

#include "ormo/runner_types.h"

namespace OrmoMeasure {

/// Initialises a runner on devices, and finalises it at the end of its life.
class RunnerSession {
 public:
  using Initialize = int (*)(const Ormo::RunnerInitConfig&);
  using Finalize = void (*)();

  /// Throws std::runtime_error with the reason when the devices cannot be used.
  RunnerSession(Initialize initialize, Finalize finalize, const std::vector<uint32_t>& devices);
  ~RunnerSession();
  RunnerSession(const RunnerSession&) = delete;
  RunnerSession& operator=(const RunnerSession&) = delete;

 private:
  Finalize finalize_;
};

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_RUNNER_SESSION_H
