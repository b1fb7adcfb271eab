#include "common/scripted_system.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <ctime>
#include <utility>

namespace Ormo::Testing {

std::vector<mmTimespec> scriptedTicks;
std::vector<int> scriptedLockErrors;
std::function<size_t(size_t)> onNextWrite;
bool areModesRefused = false;
std::vector<int> accessModes;

namespace {

template <typename Value>
Value TakeFirst(std::vector<Value>& values) {
  const Value first = values.front();
  values.erase(values.begin());
  return first;
}

}  // namespace

void LimitFileSize(rlim_t size) {
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = std::min(size, limit.rlim_max);
  setrlimit(RLIMIT_FSIZE, &limit);
}

extern "C" {

mmTimespec mmGetTickCount() {
  if (scriptedTicks.empty()) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return {now.tv_sec, now.tv_nsec};
  }
  return TakeFirst(scriptedTicks);
}

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's are reserved
int fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  if ((command == F_SETLKW || command == F_SETLK) && !scriptedLockErrors.empty()) {
    errno = TakeFirst(scriptedLockErrors);
    return -1;
  }
  return static_cast<int>(syscall(SYS_fcntl, fd, command, argument));
}

ssize_t pwrite(int fd, const void* bytes, size_t size, off_t offset) {
  if (const auto action = std::exchange(onNextWrite, nullptr)) {
    size = action(size);
    errno = EINTR;
  }
  return size == 0 ? -1 : syscall(SYS_pwrite64, fd, bytes, size, offset);
}

int fchmod(int fd, mode_t mode) noexcept {
  return areModesRefused ? -1 : static_cast<int>(syscall(SYS_fchmod, fd, mode));
}

int access(const char* path, int mode) noexcept {
  accessModes.push_back(mode);
  return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"
}  // namespace Ormo::Testing
