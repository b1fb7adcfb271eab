/// \file
/// The measurement of many candidates by several callers.
#ifndef ORMO_MEASURE_ALL_CANDIDATES_H
#define ORMO_MEASURE_ALL_CANDIDATES_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "measurement.h"

namespace OrmoMeasure {

/// Gets the number of the calling thread, from 0, and the candidate's name.
using Measure = std::function<Measurement(size_t caller, const std::string& candidate)>;

/// Measures every candidate once, with up to `callers` threads that take them from one list, and
/// returns the measurements in the order of the candidates. Shows the progress.
std::vector<Measurement> MeasureAll(const std::vector<std::string>& candidates, size_t callers,
                                    const Measure& measure);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_ALL_CANDIDATES_H
