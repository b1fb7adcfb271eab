/// \file
/// The measurement of all candidates.
#ifndef ORMO_MEASURE_OFFLINE_MEASURING_H
#define ORMO_MEASURE_OFFLINE_MEASURING_H

#include <vector>

#include "measurement.h"
#include "options.h"

namespace OrmoMeasure {

/// Measures every candidate, as many at a time as there are devices, and returns them in the order
/// of the command line. Throws std::runtime_error when the devices cannot be used or an input
/// cannot be read.
std::vector<Measurement> MeasureCandidates(const OfflineOptions& options);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_OFFLINE_MEASURING_H
