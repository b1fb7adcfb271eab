/// \file
/// A simulator that does what a test says. The test program holds it; the libraries that are built
/// from fake_simulator_library.cpp find it there when they are loaded.
#ifndef ORMO_TESTS_SIMULATOR_FAKE_SIMULATOR_H
#define ORMO_TESTS_SIMULATOR_FAKE_SIMULATOR_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace Ormo::Testing {

/// One call of CreatePeltCore.
struct CreateCall {
  std::string file;
  std::string function;
  std::vector<uint64_t> arguments;
  std::string core;
  size_t dataCount;

  bool operator==(const CreateCall& other) const {
    return std::tie(file, function, arguments, core, dataCount) ==
           std::tie(other.file, other.function, other.arguments, other.core, other.dataCount);
  }
};

struct FakeSimulator {
  std::map<std::string, uint64_t> ticks;  ///< by function; for any other there is no core
  /// By name of the simulator's function, run in its calls; may throw.
  std::map<std::string, std::function<void()>> actions;
  std::vector<std::string> interpreters;  ///< of the calls of PeltInit
  std::vector<CreateCall> creations;
  int liveCores = 0;
};

/// The one of the test program.
FakeSimulator& TheFakeSimulator();

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SIMULATOR_FAKE_SIMULATOR_H
