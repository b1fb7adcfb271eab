#include "common/fork_count.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace Ormo {
namespace {

std::atomic<uint32_t> forkCount{0};

}  // namespace

uint32_t ForkCount() noexcept {
  static const pid_t first = getpid();
  static const bool isWatched = pthread_atfork(nullptr, nullptr, [] { ++forkCount; }) == 0;
  if (isWatched) {
    return forkCount;
  }
  const pid_t process = getpid();
  return process == first ? 0 : static_cast<uint32_t>(process);
}

}  // namespace Ormo
