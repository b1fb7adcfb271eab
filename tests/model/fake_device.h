/// \file
/// Device memory and model loading of the tests' own, replaced in this program: what the library
/// asks for is written down in order.
#ifndef ORMO_TESTS_MODEL_FAKE_DEVICE_H
#define ORMO_TESTS_MODEL_FAKE_DEVICE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Ormo::Testing {

struct FakeDevice {
  size_t workSize = 0;
  size_t weightSize = 0;
  size_t freeMemory = 0;
  size_t totalMemory = 0;
  /// Memory that dropping the page cache sets free.
  size_t cachedMemory = 0;
  /// Calls that fail, by a part of what is written down of them, and with what.
  std::string failingCalls;
  int32_t code = 0;
  /// "malloc huge-only 4096", "load", "load into memory", "unload", "free", "memory ddr", "popen".
  std::vector<std::string> calls;
  /// Allocations that were not freed.
  int allocated = 0;
};

/// The one device of this program.
FakeDevice& Device();

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_MODEL_FAKE_DEVICE_H
