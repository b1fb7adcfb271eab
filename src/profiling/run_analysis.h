/// \file
/// From the pipe of a profiled run to its result.
#ifndef ORMO_PROFILING_RUN_ANALYSIS_H
#define ORMO_PROFILING_RUN_ANALYSIS_H

#include <functional>
#include <future>

#include "common/call_site.h"
#include "profiling/model_op_info.h"

namespace Ormo {

/// Reads the records of the run behind `future` from `fd` and has `compute` make a result of them,
/// which it does not when the run has none or no operator was read (no failure). Blocks the calling
/// thread until the run has ended or the read failed; see ProfilingParser::ReadModelOpInfo for
/// statuses and the future. The status of `compute` when that is not 0, after an error line of
/// `site`'s file.
int AnalyseRun(int fd, std::future<int>& future,
               const std::function<int(const ModelOpInfo&)>& compute,
               CallSite site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_PROFILING_RUN_ANALYSIS_H
