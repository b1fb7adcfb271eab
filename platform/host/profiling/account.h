/// \file
/// The host's own account of what operators took.
#ifndef ORMO_HOST_PROFILING_ACCOUNT_H
#define ORMO_HOST_PROFILING_ACCOUNT_H

#include <vector>

#include "profiling/timing.h"

namespace OrmoHost {

/// Adds the timings of an execution, if an account is kept.
void AddToAccount(const std::vector<StepLabel>& labels, const std::vector<StepTiming>& timings);

void CloseAccount();

}  // namespace OrmoHost

#endif  // ORMO_HOST_PROFILING_ACCOUNT_H
