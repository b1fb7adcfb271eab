/// \file
/// Tells a forked child from the process whose state it has inherited.
#ifndef ORMO_COMMON_FORK_COUNT_H
#define ORMO_COMMON_FORK_COUNT_H

#include <cstdint>

namespace Ormo {

/// How many forks lie between the process that asked first and this one. What belongs to a process
/// notes the count; where it finds another, its threads and locks are missing. Asking for the
/// process's id instead would cost a system call each time; that is done, and its result taken for
/// a count, where forks cannot be watched for lack of memory. Children of vfork and of a bare clone
/// are not counted.
uint32_t ForkCount() noexcept;

}  // namespace Ormo

#endif  // ORMO_COMMON_FORK_COUNT_H
