/// \file
/// What the profiling stream of one run holds.
#ifndef ORMO_PROFILING_MODEL_OP_INFO_H
#define ORMO_PROFILING_MODEL_OP_INFO_H

#include <cstdint>
#include <set>
#include <tuple>
#include <vector>

#include "ormo/runner_types.h"

namespace Ormo {

/// Bounds of one execution, in nanoseconds of the platform's clock.
struct StepOpInfo {
  uint64_t start;
  uint64_t end;

  bool operator<(const StepOpInfo& other) const {
    return std::tie(start, end) < std::tie(other.start, other.end);
  }
};

struct ModelOpInfo {
  std::vector<RunnerOpInfo> opInfos;
  std::multiset<StepOpInfo> steps;
};

}  // namespace Ormo

#endif  // ORMO_PROFILING_MODEL_OP_INFO_H
