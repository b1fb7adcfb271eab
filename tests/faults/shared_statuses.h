/// \file
/// Rows of status tables that several paths share.
#ifndef ORMO_TESTS_FAULTS_SHARED_STATUSES_H
#define ORMO_TESTS_FAULTS_SHARED_STATUSES_H

#include "faults/fault_sweep.h"
#include "ormo/status.h"

namespace Ormo::Test {

/// A device that cannot be locked is used all the same.
inline const ExpectedStatuses LOCK = {
    {"mmAccess2", {0}},
    {"mmOpen2", {0}},
    {"mmClose", {0}},
};

/// A record that cannot be decoded fails the stream; a figure that is missing is a figure of 0.
inline const ExpectedStatuses RECORDS = {
    {"zelprofCreateSubscribeConfig", {STATUS_FAILED}},
    {"zelprofDestroySubscribeConfig", {0}},
    {"zelprofGetOpDescSize", {STATUS_FAILED}},
    {"memset_s", {0}},
    {"mmRead", {STATUS_PROFILING_FAILED}},
    {"zelprofGetOpNum", {STATUS_PROFILING_FAILED}},
    {"zelprofGetOpNameLen", {STATUS_PROFILING_FAILED}},
    {"zelprofGetOpName", {STATUS_PROFILING_FAILED}},
    {"zelprofGetOpTypeLen", {STATUS_PROFILING_FAILED}},
    {"zelprofGetOpType", {STATUS_PROFILING_FAILED}},
    {"zelprofGetOpStart", {STATUS_PROFILING_FAILED}},
    {"zelprofGetOpEnd", {STATUS_PROFILING_FAILED}},
    {"zelprofGetModelId", {0}},
    {"zelprofGetOpDuration", {0}},
    {"ProfGetOpExecutionTime", {0}},
};

/// Lock files have a second place, and a worker needs no name.
inline const ExpectedStatuses CLAIMING = {
    {"mmSetCurrentThreadName", {0}},
    {"mmGetEnv", {0}},
    {"mmRealPath", {0}},
    {"mmMkdir", {0}},
    {"mmIsDir", {0}},
};

}  // namespace Ormo::Test

#endif  // ORMO_TESTS_FAULTS_SHARED_STATUSES_H
