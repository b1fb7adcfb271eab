// Calls the platform when it has closed. Handlers that belong to no library and are registered
// before the program starts run after the end of every library.
#include <cstdio>

#include "platform/platform_user.h"

extern "C" int AtExit(void (*handler)(void*), void* argument, void* library) asm("__cxa_atexit");

namespace {

void CallLate(void* /*argument*/) {
  std::puts(IsPlatformClosed() ? "late calls were refused" : "a late call went through");
  std::fflush(stdout);
}

__attribute__((constructor)) void Register() {
  AtExit(CallLate, nullptr, nullptr);
}

}  // namespace
