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

/// Gets the number of the calling thread, from 0, and a measurement that knows its candidate.
using Measure = std::function<void(size_t caller, Measurement& measurement)>;

/// Measures every candidate once, with up to `callers` threads that take them from one list, and
/// returns the measurements in the order of the candidates. One that throws has failed, with what
/// was thrown as its reason. Shows the progress.
std::vector<Measurement> MeasureAll(const std::vector<std::string>& candidates, size_t callers,
                                    const Measure& measure);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_ALL_CANDIDATES_H
