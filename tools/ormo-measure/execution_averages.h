/// \file
/// From executions to the figures of a candidate.
#ifndef ORMO_MEASURE_EXECUTION_AVERAGES_H
#define ORMO_MEASURE_EXECUTION_AVERAGES_H

#include <vector>

#include "ormo/runner_types.h"

namespace OrmoMeasure {

/// Averages as the library forms them for offline models: of two samples the smaller counts, from
/// ten on the smallest and the largest fifth are left out. There is no wall-clock time.
Ormo::RunnerResult AverageExecutions(const std::vector<Ormo::RunnerRunResult>& executions);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_EXECUTION_AVERAGES_H
