/// \file
/// The executions of a run, for a call that asks for them.
#ifndef ORMO_PROFILING_KEPT_EXECUTIONS_H
#define ORMO_PROFILING_KEPT_EXECUTIONS_H

#include "profiling/model_op_info.h"

namespace Ormo {

/// Gives the RunWatch of the calling thread's call, if it has one, the executions that the records
/// mark, with their operators and costs, and the number of operators that lie in none.
void KeepExecutions(const ModelOpInfo& modelOpInfo);

}  // namespace Ormo

#endif  // ORMO_PROFILING_KEPT_EXECUTIONS_H
