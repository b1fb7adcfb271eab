#include <pthread.h>
#include <unistd.h>

#include <cstring>

#include "mm/mm.h"
#include "services/environment.h"
#include "services/mm_call.h"

using OrmoHost::Failing;
using OrmoHost::MmCall;
using OrmoHost::Script;

int mmGetErrorCode() {
  int error = errno;
  if (Script::IsActive()) {
    OrmoHost::HostCall call("mmGetErrorCode", Failing::CANNOT);
    if (int32_t code = call.Fails()) {
      return code;
    }
  }
  return error;
}

int mmGetTid() {
  if (Script::IsActive()) {
    MmCall call("mmGetTid", Failing::CANNOT);
    if (int32_t code = call.Fails()) {
      return code;
    }
  }
  return gettid();
}

int mmGetPid() {
  if (Script::IsActive()) {
    MmCall call("mmGetPid", Failing::CANNOT);
    if (int32_t code = call.Fails()) {
      return code;
    }
  }
  return getpid();
}

mmTimespec mmGetTickCount() {
  constexpr mmTimespec FAILED{-1, -1};
  // The library brackets every execution with two of these calls.
  if (__builtin_expect(Script::IsActive(), false)) {
    MmCall call("mmGetTickCount", Failing::CANNOT);
    if (call.Fails() != 0) {
      return FAILED;
    }
  }
  timespec now;  // NOLINT(cppcoreguidelines-pro-type-member-init): written by the call
  if (clock_gettime(CLOCK_MONOTONIC_RAW, &now) != 0) {
    return FAILED;
  }
  return mmTimespec{now.tv_sec, now.tv_nsec};
}

int mmSetCurrentThreadName(const char* name) {
  MmCall call("mmSetCurrentThreadName");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return pthread_setname_np(pthread_self(), name) == 0 ? 0 : -1;
}

int mmGetEnv(const char* name, char* value, uint32_t length) {
  MmCall call("mmGetEnv");
  if (int32_t code = call.Fails()) {
    return code;
  }
  const char* text = getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody here changes it
  if (text == nullptr || std::strlen(text) >= length) {
    return -1;
  }
  std::memcpy(value, text, std::strlen(text) + 1);
  return 0;
}

int mmGetTimeOfDay(timeval* time, void* zone) {
  MmCall call("mmGetTimeOfDay", Failing::CANNOT);
  if (int32_t code = call.Fails()) {
    return code;
  }
  return gettimeofday(time, static_cast<struct timezone*>(zone));
}

int mmLocalTimeR(const time_t* seconds, tm* result) {
  MmCall call("mmLocalTimeR", Failing::CANNOT);
  if (int32_t code = call.Fails()) {
    return code;
  }
  return localtime_r(seconds, result) != nullptr ? 0 : -1;
}
