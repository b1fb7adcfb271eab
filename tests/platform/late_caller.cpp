// Calls the platform when it has closed. Handlers that belong to no library, registered before the
// program starts, run after the end of every library.
#include <cstdio>

#include "error_manager/error_manager.h"
#include "mm/mm.h"
#include "zel/zel.h"
#include "zel/zel_mdl.h"
#include "zel/zel_prof.h"

extern "C" int __cxa_atexit(void (*handler)(void*), void* argument, void* library);

namespace {

void CallLate(void* /*argument*/) {
  void* memory = nullptr;
  uint32_t id = 0;
  int32_t descriptor = 1;
  bool areRefused = zelInit("") != 0 && zelrtSetDevice(0) != 0 && zelrtResetDevice(0) != 0 &&
                    zelrtMalloc(&memory, 1, ZEL_MEM_MALLOC_HUGE_FIRST) != 0 &&
                    zelmdlLoadFromMem("{}", 2, &id) != 0 &&
                    zelmdlExecute(1, nullptr, nullptr) != 0 && zelprofModelUnSubscribe(1) != 0 &&
                    zelmdlCreateDataset() == nullptr &&
                    zelprofCreateSubscribeConfig(1, ZEL_AICORE_NONE, &descriptor) == nullptr &&
                    zelFinalize() != 0 && mmGetTickCount().tv_sec > 0;
  ErrorManager::GetInstance().SetErrorContext({});
  ErrorManager::GetInstance().GetErrorManagerContext();
  std::puts(areRefused ? "late calls were refused" : "a late call went through");
  std::fflush(stdout);
}

__attribute__((constructor)) void Register() {
  __cxa_atexit(CallLate, nullptr, nullptr);
}

}  // namespace

extern "C" void KeepLateCaller() {}
