/// \file
/// The measurement of all graphs.
#ifndef ORMO_MEASURE_ONLINE_MEASURING_H
#define ORMO_MEASURE_ONLINE_MEASURING_H

#include <vector>

#include "measurement.h"
#include "options.h"

namespace OrmoMeasure {

/// Measures or checks every graph, as many at a time as there are devices and each of these in a
/// session of its own, and returns them in the order of the command line. Throws std::runtime_error
/// when the devices cannot be used or a dependency graph cannot be loaded.
std::vector<Measurement> MeasureGraphs(const OnlineOptions& options);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_ONLINE_MEASURING_H
