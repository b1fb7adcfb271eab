/// \file
/// Rows of status tables that several paths share.
#ifndef ORMO_TESTS_FAULTS_SHARED_STATUSES_H
#define ORMO_TESTS_FAULTS_SHARED_STATUSES_H

#include "faults/fault_sweep.h"
#include "ormo/status.h"

namespace Ormo::Testing {

/// A device that cannot be locked is used all the same.
inline const ExpectedStatuses LOCK = All(0, {"mmOpen2", "mmClose"});

/// A record that cannot be decoded fails the stream; a figure that is missing is a figure of 0.
inline const ExpectedStatuses RECORDS =
    Join({All(STATUS_FAILED, {"zelprofCreateSubscribeConfig", "zelprofGetOpDescSize"}),
          All(STATUS_PROFILING_FAILED,
              {"mmRead", "zelprofGetOpNum", "zelprofGetOpNameLen", "zelprofGetOpName",
               "zelprofGetOpTypeLen", "zelprofGetOpType", "zelprofGetOpStart", "zelprofGetOpEnd"}),
          All(0, {"zelprofDestroySubscribeConfig", "memset_s", "zelprofGetModelId",
                  "zelprofGetOpDuration", "ProfGetOpExecutionTime"})});

/// Lock files have a second place, and a worker needs no name.
inline const ExpectedStatuses CLAIMING =
    All(0, {"mmSetCurrentThreadName", "mmAccess2", "mmGetEnv", "mmRealPath", "mmMkdir", "mmIsDir"});

/// An unknown chip is used as well.
inline const ExpectedStatuses PLATFORM_LIFE = Join(
    {All(STATUS_FAILED, {"zelInit", "zelrtGetDeviceCount", "zelrtSetDevice", "zelrtCreateContext"}),
     All(0, {"zelrtGetSocName", "zelrtDestroyContext", "zelrtResetDevice", "zelFinalize"})});

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_FAULTS_SHARED_STATUSES_H
