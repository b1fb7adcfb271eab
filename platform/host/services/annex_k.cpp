#include "annex_k/annex_k.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "control/host_call.h"

namespace {

constexpr int FAILED = -1;

}  // namespace

int memset_s(void* dest, size_t destMax, int value, size_t count) {
  OrmoHost::HostCall call("memset_s");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (dest == nullptr || count > destMax) {
    return FAILED;
  }
  std::memset(dest, value, count);
  return 0;
}

int snprintf_s(char* dest, size_t destMax, size_t count, const char* format, ...) {
  OrmoHost::HostCall call("snprintf_s");
  if (int32_t code = call.Fails()) {
    return code > 0 ? FAILED : code;
  }
  if (dest == nullptr || destMax == 0 || format == nullptr) {
    return FAILED;
  }
  va_list arguments;
  va_start(arguments, format);
  int length = std::vsnprintf(dest, std::min(destMax, count + 1), format, arguments);
  va_end(arguments);
  if (length < 0 || static_cast<size_t>(length) > count || static_cast<size_t>(length) >= destMax) {
    dest[0] = '\0';
    return FAILED;
  }
  return length;
}
