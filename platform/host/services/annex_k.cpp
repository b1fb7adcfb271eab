#include "annex_k/annex_k.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "seam/host_call.h"

int memset_s(void* dest, size_t destMax, int value, size_t count) {
  return OrmoHost::Attempt("memset_s", [&] {
    OrmoHost::Require(dest != nullptr && count <= destMax, OrmoHost::OUT_OF_RANGE);
    std::memset(dest, value, count);
  });
}

int memcpy_s(void* dest, size_t destMax, const void* source, size_t count) {
  return OrmoHost::Attempt("memcpy_s", [&] {
    OrmoHost::Require(dest != nullptr && source != nullptr && count <= destMax,
                      OrmoHost::OUT_OF_RANGE);
    std::memcpy(dest, source, count);
  });
}

int snprintf_s(char* dest, size_t destMax, size_t count, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int result = OrmoHost::AttemptSystem("snprintf_s", [&] {
    if (dest == nullptr || destMax == 0) {
      return -1;
    }
    size_t room = std::min(destMax, count + 1);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it was started above
    int length = std::vsnprintf(dest, room, format, arguments);
    bool fits = length >= 0 && static_cast<size_t>(length) < room;
    dest[0] = fits ? dest[0] : '\0';
    return fits ? length : -1;
  });
  va_end(arguments);
  return result;
}
