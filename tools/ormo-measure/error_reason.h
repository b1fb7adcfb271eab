/// \file
/// Why something failed, in words.
#ifndef ORMO_MEASURE_ERROR_REASON_H
#define ORMO_MEASURE_ERROR_REASON_H

#include <string>

namespace OrmoMeasure {

/// Gives the calling thread an error context of its own, so that what is reported from here on can
/// be told from what other threads and earlier runs report.
void BeginErrorContext();

/// Takes what was reported for the calling thread's context; without reports, what the status
/// means.
std::string TakeErrorReason(int status);

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_ERROR_REASON_H
