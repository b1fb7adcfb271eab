// Unloads the platform with everything on it still alive; the argument is a library that uses it.
#include <dlfcn.h>

#include <cstdio>
#include <thread>

#include "platform/platform_user.h"
#include "support/mapped_files.h"

int main(int /*argc*/, char** argv) {
  for (int round = 0; round < 2; ++round) {
    void* library = dlopen(argv[1], RTLD_NOW);
    auto* use = reinterpret_cast<decltype(&UsePlatform)>(dlsym(library, "UsePlatform"));
    std::thread([&] { std::puts(use() ? "in use" : "not in use"); }).join();
    dlclose(library);
    std::puts(Ormo::Testing::IsMapped("libormo_host_platform") ? "still loaded" : "unloaded");
  }
  return 0;
}
