#include "support/thread_state.h"

#include <fstream>
#include <limits>
#include <string>

namespace Ormo::Testing {

void AwaitSleep(pid_t thread) {
  std::string state;
  while (state != "S") {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
    status.ignore(std::numeric_limits<std::streamsize>::max(), ')');
    status >> state;
  }
}

}  // namespace Ormo::Testing
