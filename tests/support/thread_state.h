/// \file
/// What the kernel tells of a thread.
#ifndef ORMO_TESTS_SUPPORT_THREAD_STATE_H
#define ORMO_TESTS_SUPPORT_THREAD_STATE_H

#include <sys/types.h>

#include <fstream>
#include <limits>
#include <string>

namespace Ormo::Testing {

/// Returns when the thread of this process waits for something.
inline void AwaitSleep(pid_t thread) {
  std::string state;
  while (state != "S") {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
    status.ignore(std::numeric_limits<std::streamsize>::max(), ')');
    status >> state;
  }
}

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_THREAD_STATE_H
