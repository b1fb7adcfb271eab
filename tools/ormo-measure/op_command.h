/// \file
/// The command "op".
#ifndef ORMO_MEASURE_OP_COMMAND_H
#define ORMO_MEASURE_OP_COMMAND_H

#include "options.h"

namespace OrmoMeasure {

/// Measures, ranks and reports on standard output. Returns the exit status; throws
/// std::runtime_error when nothing could be measured or reported.
int RunOp(const OpOptions& options);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_OP_COMMAND_H
