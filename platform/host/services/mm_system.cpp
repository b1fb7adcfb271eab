#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <cstring>

#include "mm/mm.h"
#include "seam/host_call.h"

using OrmoHost::Attempt;
using OrmoHost::AttemptSystem;
using OrmoHost::Failing;

int mmGetErrorCode() {
  int error = errno;
  int32_t code = OrmoHost::HostCall("mmGetErrorCode", Failing::CANNOT).Fails();
  return code != 0 ? code : error;
}

int mmGetTid() {
  return AttemptSystem("mmGetTid", gettid, Failing::CANNOT);
}

int mmGetPid() {
  return AttemptSystem("mmGetPid", getpid, Failing::CANNOT);
}

mmTimespec mmGetTickCount() {
  constexpr mmTimespec FAILED{-1, -1};
  // The library brackets every execution with two of these calls: nothing but the clock is read.
  bool isScripted = OrmoHost::isScriptActive.load(std::memory_order_relaxed);
  if (isScripted && OrmoHost::HostCall("mmGetTickCount", Failing::CANNOT).Fails() != 0) {
    return FAILED;
  }
  timespec now;  // NOLINT(cppcoreguidelines-pro-type-member-init): written by the call
  if (clock_gettime(CLOCK_MONOTONIC_RAW, &now) != 0) {
    return FAILED;
  }
  return mmTimespec{now.tv_sec, now.tv_nsec};
}

int mmSetCurrentThreadName(const char* name) {
  return AttemptSystem("mmSetCurrentThreadName",
                       [&] { return pthread_setname_np(pthread_self(), name) == 0 ? 0 : -1; });
}

int mmGetEnv(const char* name, char* value, uint32_t length) {
  return AttemptSystem("mmGetEnv", [&] {
    const char* text = getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody here changes it
    if (text == nullptr || std::strlen(text) >= length) {
      return -1;
    }
    std::memcpy(value, text, std::strlen(text) + 1);
    return 0;
  });
}

int mmGetTimeOfDay(timeval* time, void* zone) {
  return AttemptSystem(
      "mmGetTimeOfDay", [&] { return gettimeofday(time, zone); }, Failing::CANNOT);
}

int mmLocalTimeR(const time_t* seconds, tm* result) {
  return AttemptSystem(
      "mmLocalTimeR", [&] { return localtime_r(seconds, result) != nullptr ? 0 : -1; },
      Failing::CANNOT);
}

void* mmDlopen(const char* path, int flags) {
  return Attempt("mmDlopen", [&] { return dlopen(path, flags); });
}

const char* mmDlerror() {
  OrmoHost::HostCall("mmDlerror", Failing::CANNOT).Fails();
  return dlerror();  // NOLINT(concurrency-mt-unsafe): the text is the thread's own
}

int mmDlclose(void* handle) {
  // A library is closed whatever the script says.
  int result = dlclose(handle) == 0 ? 0 : -1;
  return AttemptSystem("mmDlclose", [&] { return result; });
}
