/// \file
/// The command "online".
#ifndef ORMO_MEASURE_ONLINE_COMMAND_H
#define ORMO_MEASURE_ONLINE_COMMAND_H

#include "options.h"

namespace OrmoMeasure {

/// Measures or checks, ranks and reports on standard output. Returns the exit status; throws
/// std::runtime_error when nothing could be measured or reported.
int RunOnline(const OnlineOptions& options);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_ONLINE_COMMAND_H
