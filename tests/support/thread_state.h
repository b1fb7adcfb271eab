/// \file
/// What the kernel tells of a thread.
#ifndef ORMO_TESTS_SUPPORT_THREAD_STATE_H
#define ORMO_TESTS_SUPPORT_THREAD_STATE_H

#include <sys/types.h>

namespace Ormo::Testing {

/// Returns when the thread of this process waits for something.
void AwaitSleep(pid_t thread);

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_THREAD_STATE_H
