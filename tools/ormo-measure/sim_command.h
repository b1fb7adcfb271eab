/// \file
/// The command "sim".
#ifndef ORMO_MEASURE_SIM_COMMAND_H
#define ORMO_MEASURE_SIM_COMMAND_H

#include "options.h"

namespace OrmoMeasure {

/// Simulates, ranks and reports on standard output. Returns the exit status; throws
/// std::runtime_error when nothing could be simulated or reported. No other thread may run.
int RunSim(const SimOptions& options);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_SIM_COMMAND_H
