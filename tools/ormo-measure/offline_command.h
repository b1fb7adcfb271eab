/// \file
/// The command "offline".
#ifndef ORMO_MEASURE_OFFLINE_COMMAND_H
#define ORMO_MEASURE_OFFLINE_COMMAND_H

#include "options.h"

namespace OrmoMeasure {

/// Measures, ranks and reports on standard output. Returns the exit status; throws
/// std::runtime_error when nothing could be measured or reported.
int RunOffline(const OfflineOptions& options);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_OFFLINE_COMMAND_H
