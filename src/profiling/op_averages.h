/// \file
/// Records into averages.
#ifndef ORMO_PROFILING_OP_AVERAGES_H
#define ORMO_PROFILING_OP_AVERAGES_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

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

/// Averages of the durations and compute-core times of `opInfos`, by operator name, into `result`.
/// Executions of one name fall together whichever execution of the model they belong to.
void AverageOperators(const std::vector<RunnerOpInfo>& opInfos, RunnerResult& result);

}  // namespace Ormo

#endif  // ORMO_PROFILING_OP_AVERAGES_H
