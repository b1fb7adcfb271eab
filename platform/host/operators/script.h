/// \file
/// What tests put into an operator's tensors, and see in them.
#ifndef ORMO_HOST_OPERATORS_SCRIPT_H
#define ORMO_HOST_OPERATORS_SCRIPT_H

#include "operators/executor.h"

namespace OrmoHost {

/// Writes what was set; refuses an operand of another size.
void FillScriptedOperands(const Executor& executor);

void KeepScriptedOutputs(const Executor& executor);

void ClearOperatorScript();

}  // namespace OrmoHost

#endif  // ORMO_HOST_OPERATORS_SCRIPT_H
