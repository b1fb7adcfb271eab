/// \file
/// Records into averages.
#ifndef ORMO_PROFILING_OP_AVERAGES_H
#define ORMO_PROFILING_OP_AVERAGES_H

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "common/call_site.h"
#include "ormo/runner_types.h"
#include "profiling/model_op_info.h"

namespace Ormo {

/// Adds the cost of each execution that the records bound to `totals`. 0, also when operators lie
/// in no execution or end before they start, which a warning line of `site`'s file counts; or
/// STATUS_PROFILING_FAILED after an error line of that file.
int CalcTotalCostTimeByStep(const ModelOpInfo& modelOpInfo, std::multiset<uint64_t>& totals,
                            CallSite site = CallSite::Here());

/// Stores in `averages`, under each name of `times`, the average of its times (the rule of
/// Utils::CalcAvgExecuteTime). Names that are not in `times` keep their values.
void CalcOpCostTime(const std::map<std::string, std::multiset<uint64_t>>& times,
                    std::map<std::string, uint64_t>& averages);

/// The average cost of one execution and, by operator name, the averages of durations and
/// compute-core times, in nanoseconds, into `result`; `runCostTime` is not touched. Operators of
/// one name fall together whichever execution they belong to. Records that were lost make the total
/// too low, and 0 when none is left that bounds an execution; see CalcTotalCostTimeByStep. 0, or
/// STATUS_PROFILING_FAILED with `result` left alone, after error lines of `site`'s file.
int CalcAverages(const ModelOpInfo& modelOpInfo, RunnerResult& result,
                 CallSite site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_PROFILING_OP_AVERAGES_H
