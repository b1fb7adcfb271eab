/// \file
/// The simulation of all graphs.
#ifndef ORMO_MEASURE_SIM_MEASURING_H
#define ORMO_MEASURE_SIM_MEASURING_H

#include <vector>

#include "measurement.h"
#include "options.h"

namespace OrmoMeasure {

/// Simulates every graph, one after the other, and returns them in the order of the command line;
/// their figures are ticks. Throws std::runtime_error when the simulator cannot be used.
std::vector<Measurement> SimulateGraphs(const SimOptions& options);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_SIM_MEASURING_H
