#include "common/fork_count.h"

#include <pthread.h>

#include <atomic>

namespace Ormo {
namespace {

std::atomic<uint32_t> forkCount{0};

}  // namespace

uint32_t ForkCount() noexcept {
  static const int watched = pthread_atfork(nullptr, nullptr, [] { ++forkCount; });
  static_cast<void>(watched);
  return forkCount;
}

}  // namespace Ormo
