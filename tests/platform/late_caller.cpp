// Calls the platform when it has closed. Handlers that belong to no library and are registered
// before the program starts run after the end of every library.
#include <cstdio>

#include "platform/platform_user.h"

// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the runtime's own
extern "C" int __cxa_atexit(void (*handler)(void*), void* argument, void* library);

namespace {

void CallLate(void* /*argument*/) {
  std::puts(IsPlatformClosed() ? "late calls were refused" : "a late call went through");
  std::fflush(stdout);
}

__attribute__((constructor)) void Register() {
  __cxa_atexit(CallLate, nullptr, nullptr);
}

}  // namespace
