/// \file
/// The measurement of all requests.
#ifndef ORMO_MEASURE_OP_MEASURING_H
#define ORMO_MEASURE_OP_MEASURING_H

#include <vector>

#include "measurement.h"
#include "options.h"

namespace OrmoMeasure {

/// Measures the operator of every request, as many at a time as there are devices, and returns the
/// measurements in the order of the command line. Throws std::runtime_error when the devices cannot
/// be used.
std::vector<Measurement> MeasureRequests(const OpOptions& options);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_OP_MEASURING_H
