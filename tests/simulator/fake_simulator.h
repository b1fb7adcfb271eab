/// \file
/// A simulator that does what a test says. The test program holds it; the libraries that are built
/// from fake_simulator_library.cpp find it there when they are loaded.
#ifndef ORMO_TESTS_SIMULATOR_FAKE_SIMULATOR_H
#define ORMO_TESTS_SIMULATOR_FAKE_SIMULATOR_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Ormo::Testing {

struct FakeSimulator {
  std::map<std::string, uint64_t> ticks;  ///< by kernel function; for any other there is no core
  /// By name of the simulator's function, run in its calls; may throw.
  std::map<std::string, std::function<void()>> actions;
  std::vector<std::string> calls;  ///< with their arguments; a core is its kernel function
  int liveCores = 0;
};

/// The one of the test program.
FakeSimulator& TheFakeSimulator();

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SIMULATOR_FAKE_SIMULATOR_H
