#include "services/environment.h"

#include <charconv>
#include <cstdlib>

namespace OrmoHost {

std::string ReadVariable(const char* name) {
  // The host never changes the environment.
  const char* value = getenv(name);  // NOLINT(concurrency-mt-unsafe)
  return value == nullptr ? std::string() : std::string(value);
}

std::optional<uint64_t> ReadNumber(const char* name) {
  std::string text = ReadVariable(name);
  uint64_t number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

}  // namespace OrmoHost
