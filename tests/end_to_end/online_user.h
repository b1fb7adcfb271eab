/// \file
/// A user of the graph engine, as a library of its own.
#ifndef ORMO_TESTS_END_TO_END_ONLINE_USER_H
#define ORMO_TESTS_END_TO_END_ONLINE_USER_H

#include "ormo/ormo_runner.h"

/// Runs the graph of a file in a session that ends with the call, once unprofiled and once
/// profiled. The inputs and outputs that came of it are kept until this library is unloaded.
extern "C" bool RunGraph(decltype(OrmoOnlineRun)* run, const char* file);

#endif  // ORMO_TESTS_END_TO_END_ONLINE_USER_H
