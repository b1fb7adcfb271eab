/// \file
/// What tests do to records.
#ifndef ORMO_HOST_PROFILING_RECORD_SCRIPT_H
#define ORMO_HOST_PROFILING_RECORD_SCRIPT_H

#include <chrono>

#include "ormo_host/control.h"

namespace OrmoHost {

/// What the record that is about to be written meets.
RecordFault MeetRecordScript();

/// How long a record may wait for room in its pipe.
std::chrono::milliseconds RecordWait();

void ClearRecordScript();

}  // namespace OrmoHost

#endif  // ORMO_HOST_PROFILING_RECORD_SCRIPT_H
