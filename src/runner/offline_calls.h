/// \file
/// The offline runs that plain and detailed entry points share.
#ifndef ORMO_RUNNER_OFFLINE_CALLS_H
#define ORMO_RUNNER_OFFLINE_CALLS_H

#include <cstdint>

#include "common/call_site.h"
#include "ormo/runner_types.h"

namespace Ormo {

/// OrmoOfflineRun on a device.
int RunOfflineModel(RunnerConfig& config, uint32_t deviceId, RunnerResult& result);

/// OrmoOfflineRunModel; STATUS_INVALID_PARAM as well when the model is not on `deviceId`. An error
/// line is one of `site`'s file.
int RunLoadedModel(uint32_t modelId, RunnerConfig& config, uint32_t deviceId, RunnerResult& result,
                   CallSite site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_RUNNER_OFFLINE_CALLS_H
