#include "support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "dlog/dlog.h"
#include "error_manager/error_manager.h"
#include "ormo_host/control.h"
#include "zel/zel.h"

namespace Ormo::Fuzz {

void Require(bool condition, const char* what) {
  if (!condition) {
    std::fprintf(stderr, "This does not hold: %s\n", what);
    std::abort();
  }
}

std::string PreparePlatform(size_t deviceMemory) {
  OrmoHost::SetMemorySize(deviceMemory);
  zelrtContext context = nullptr;
  Require(zelInit("") == 0 && zelrtSetDevice(0) == 0 && zelrtCreateContext(&context, 0) == 0,
          "the platform is ready");
  return OrmoHost::Alive().ToString();
}

void CleanPlatform(const std::string& atRest) {
  Require(OrmoHost::Alive().ToString() == atRest, "nothing is left on the platform");
  ErrorManager::GetInstance().GetErrorMessage();
}

MemoryFile::MemoryFile()
    : fd_(memfd_create("input", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(fd_)) {
  Require(fd_ >= 0, "there is a file in memory");
}

void MemoryFile::Write(std::string_view text) const {
  Require(ftruncate(fd_, 0) == 0 &&
              pwrite(fd_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
          "a file in memory takes a text");
}

}  // namespace Ormo::Fuzz

// In place of the platform's: every line is made, and none is kept.

int CheckLogLevel(int /*moduleId*/, int /*level*/) {
  return 1;
}

void DlogInner(int /*moduleId*/, int /*level*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Ormo::Fuzz::Require(vsnprintf(nullptr, 0, format, arguments) >= 0, "a line can be made");
  va_end(arguments);
}
