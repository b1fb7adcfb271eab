/// \file
/// Bytes of the profiling stream into records.
#ifndef ORMO_PROFILING_RECORD_DECODER_H
#define ORMO_PROFILING_RECORD_DECODER_H

#include <cstddef>

#include "profiling/model_op_info.h"

namespace Ormo {

/// Decodes the whole records in `buffer` through the platform's accessors: those of type "na"
/// become steps, all others operators, appended in order. 0, or STATUS_FAILED after an error line;
/// what was decoded before the failure stays. An operator that ends before it starts gets 0 for
/// its cost and for its time on the cores; the analyses of offline models and of single operators
/// count such operators in a warning line, on the online path no line tells of them. A text longer
/// than 64 MiB fails like memory that cannot be had. Any thread.
int GetModelOpInfo(const char* buffer, size_t length, ModelOpInfo& modelOpInfo);

}  // namespace Ormo

#endif  // ORMO_PROFILING_RECORD_DECODER_H
