/// \file
/// The statuses that the library's operations return: 32-bit values, 0 for success.
///
/// Platform codes never come out of an entry point as they are. The platform's two
/// memory-allocation codes (245000 and 207001) become STATUS_MEMORY_ALLOCATION_FAILED wherever a
/// code is translated; every other code becomes the status named below for the operation.
#ifndef ORMO_STATUS_H
#define ORMO_STATUS_H

#include <cstdint>

namespace Ormo {

constexpr int STATUS_SUCCESS = 0;

/// A value that cannot be used: an unknown model id given to OrmoOfflineRunModel.
/// A dynamic-shape text that cannot be read gives it inside the library; the run then ends with
/// STATUS_DYNAMIC_PARAM_FAILED.
constexpr int STATUS_INVALID_PARAM = 2;

/// The cycle simulator's library cannot be loaded.
constexpr int STATUS_LIBRARY_NOT_LOADED = 12;

/// The cycle simulator's library lacks one of its functions.
constexpr int STATUS_FUNCTION_MISSING = 13;

/// A device allocation or a copy between host and device failed with a code that is not translated.
constexpr int STATUS_DEVICE_MEMORY_FAILED = 203;

/// Not enough free device memory for the model or its buffers: a skip, not a failure.
/// Loads from memory in the default run mode, and every run whose buffers do not fit.
constexpr int STATUS_NOT_ENOUGH_MEMORY = 204;

/// A platform object could not be created: device, context, model, dataset or buffer.
constexpr int STATUS_PLATFORM_FAILED = 3000;

/// The platform said that an allocation failed: device set-up, loads, allocations, executions.
constexpr int STATUS_MEMORY_ALLOCATION_FAILED = 3001;

/// An execution of a model failed.
constexpr int STATUS_EXECUTE_FAILED = 3002;

/// An execution took RunnerConfig::runTimeBound or longer and ended the loop. A run by wall clock
/// then has no result. A profiled offline run has that of the executions so far, and has this
/// status only where the environment variable ORMO_PROF_END is "close", else STATUS_SUCCESS.
/// Neither has it when outputs were copied. How to tell: see OrmoOfflineRun.
constexpr int STATUS_OUT_OF_BOUND = 3003;

/// The dynamic batch, image size or dims could not be set.
constexpr int STATUS_DYNAMIC_PARAM_FAILED = 3004;

/// The profiling stream failed: waiting, reading or decoding, or an execution whose start is not
/// before its end. Records that are merely missing are not noticed, or with a warning line.
constexpr int STATUS_PROFILING_FAILED = 3203;

/// Any other failure, and calls that are refused or ended by a finalisation or the process's end;
/// 0xFFFFFFFF when read as unsigned.
constexpr int STATUS_FAILED = -1;

}  // namespace Ormo

#endif  // ORMO_STATUS_H
