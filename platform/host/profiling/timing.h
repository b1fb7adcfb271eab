/// \file
/// What is measured of an operator, before it becomes a record.
#ifndef ORMO_HOST_PROFILING_TIMING_H
#define ORMO_HOST_PROFILING_TIMING_H

#include <algorithm>
#include <cstdint>
#include <string>

#include "services/raw_clock.h"

namespace OrmoHost {

/// What a profiling record says of a step.
struct StepLabel {
  std::string name;
  std::string type;
};

/// Start and end of an operator, and the time of its arithmetic alone, on the raw clock.
struct StepTiming {
  uint32_t step;
  uint64_t start;
  uint64_t end;
  uint64_t core;
};

/// A step that ends now. It has a length, also when the clock stood still.
inline StepTiming EndStep(uint32_t step, uint64_t start, uint64_t core) {
  uint64_t end = std::max(ReadRawClock(), start + 1);
  return {step, start, end, std::clamp<uint64_t>(core, 1, end - start)};
}

}  // namespace OrmoHost

#endif  // ORMO_HOST_PROFILING_TIMING_H
