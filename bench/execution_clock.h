/// \file
/// What the host reads off its own clock during an execution: the platform's execution and the
/// clock are replaced in this program by ones that look on.
#ifndef ORMO_BENCH_EXECUTION_CLOCK_H
#define ORMO_BENCH_EXECUTION_CLOCK_H

#include <vector>

namespace Ormo::Bench {

/// For each execution since the last call: the nanoseconds from its first reading of the raw clock
/// to its last; of the latest 64 when there were more. To be called while nothing executes.
std::vector<double> TakeExecutionTimes();

}  // namespace Ormo::Bench

#endif  // ORMO_BENCH_EXECUTION_CLOCK_H
