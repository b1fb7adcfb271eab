#include "execution_clock.h"

#include <dlfcn.h>

#include <cstdint>
#include <ctime>
#include <utility>

#include "zel/zel_mdl.h"

namespace Ormo::Bench {
namespace {

struct Readings {
  uint64_t first = 0;
  uint64_t last = 0;
};

// Of the execution that the thread is in.
thread_local Readings* current = nullptr;

std::vector<double> executionTimes;

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void Note(const timespec& now) {
  const uint64_t time =
      static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
  current->first = current->first == 0 ? time : current->first;
  current->last = time;
}

}  // namespace

std::vector<double> TakeExecutionTimes() {
  return std::exchange(executionTimes, {});
}

}  // namespace Ormo::Bench

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
  static const auto CLOCK_GETTIME =
      Ormo::Bench::Next<int(clockid_t, timespec*) noexcept>("clock_gettime");
  const int code = CLOCK_GETTIME(clock, now);
  if (Ormo::Bench::current != nullptr && clock == CLOCK_MONOTONIC_RAW) {
    Ormo::Bench::Note(*now);
  }
  return code;
}

int32_t zelmdlExecute(uint32_t modelId, const zelmdlDataset* input, zelmdlDataset* output) {
  static const auto EXECUTE = Ormo::Bench::Next<decltype(zelmdlExecute)>("zelmdlExecute");
  Ormo::Bench::Readings readings;
  Ormo::Bench::current = &readings;
  const int32_t code = EXECUTE(modelId, input, output);
  Ormo::Bench::current = nullptr;
  Ormo::Bench::executionTimes.push_back(static_cast<double>(readings.last - readings.first));
  return code;
}

}  // extern "C"
