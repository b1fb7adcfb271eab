/// \file
/// Operators into executions: pure functions over what the stream reader gathered.
#ifndef ORMO_PROFILING_STEP_GROUPING_H
#define ORMO_PROFILING_STEP_GROUPING_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "profiling/model_op_info.h"

namespace Ormo {

/// Sorts by start time, then by end time; equal operators keep their order.
void SortOpInfo(std::vector<RunnerOpInfo>& opInfos);

/// Appends one result for each step, in step order, with its operators and its cost. `results` is
/// empty on entry. 0, or STATUS_PROFILING_FAILED when a step has no operators or no length.
int GetRunnerRunResultByStep(const ModelOpInfo& modelOpInfo, std::vector<RunnerRunResult>& results);

/// Appends the cost of each step to `costs`, in step order, as GetRunnerRunResultByStep finds it,
/// and counts the operators that lie in no step in `outside`, but copies none. 0, or
/// STATUS_PROFILING_FAILED likewise.
int GetCostsByStep(const ModelOpInfo& modelOpInfo, std::vector<uint64_t>& costs, size_t& outside);

/// Appends a copy of each operator to the result of the first step, in order, that contains it:
/// step.start <= op.startTime and op.endTime <= step.end. One that lies in no step is dropped.
/// `results` holds an entry for each step. Always 0.
int GetOpInfoByStep(const ModelOpInfo& modelOpInfo, std::vector<RunnerRunResult>& results);

/// Appends to each result its cost: the latest end minus the earliest start of its operators.
/// 0, or STATUS_PROFILING_FAILED at the first result whose start is not before its end.
int GetModelInfo(std::vector<RunnerRunResult>& results);

}  // namespace Ormo

#endif  // ORMO_PROFILING_STEP_GROUPING_H
