/// \file
/// Functions of the system and of the platform that this program has in their place, because those
/// cannot be brought to refuse, or to tell what they were asked for, at will.
#ifndef ORMO_TESTS_COMMON_SCRIPTED_SYSTEM_H
#define ORMO_TESTS_COMMON_SCRIPTED_SYSTEM_H

#include <sys/resource.h>
#include <sys/types.h>

#include <functional>
#include <vector>

#include "mm/mm.h"

namespace Ormo::Testing {

/// What the clock says next; empty: the true time.
extern std::vector<mmTimespec> scriptedTicks;
/// Errors that the next locks of files meet.
extern std::vector<int> scriptedLockErrors;
/// Gets the size of the next pwrite() and returns how much of it is written; 0: a signal comes in.
extern std::function<size_t(size_t)> onNextWrite;
extern bool areModesRefused;
/// Of access() from now on.
extern std::vector<int> accessModes;

/// Files cannot grow beyond `size` from now on. The signal that tells of it ends a thread that
/// takes signals, and the process with it.
void LimitFileSize(rlim_t size);

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_COMMON_SCRIPTED_SYSTEM_H
