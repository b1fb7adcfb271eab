/// \file
/// What tests of the simulator runner share.
#ifndef ORMO_TESTS_SIMULATOR_SIMULATOR_TEST_H
#define ORMO_TESTS_SIMULATOR_SIMULATOR_TEST_H

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "ormo/runner_types.h"
#include "simulator/fake_simulator.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {

/// Names of nodes and their "json_file_path"; an empty one is left out.
using KernelNodes = std::vector<std::pair<std::string, std::string>>;

/// Null unsets the variable.
void SetVariable(const char* name, const char* value);

/// A simulator library is chosen for a chip that can be simulated; the one that works, at first.
/// What stays loaded or alive after a test fails it.
class SimulatorTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  /// "whole", "without_init", and so on: see CMakeLists.txt.
  static void UseLibrary(const std::string& variant);
  static std::string LibraryDirectory(const std::string& variant);
  static bool IsLoaded(const std::string& variant);

  /// Writes a graph of such nodes and returns its path.
  std::string WriteGraph(const KernelNodes& nodes) const;

  TempDirectory directory_;
  FakeSimulator& fake_ = TheFakeSimulator();
  RunnerResult result_;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SIMULATOR_SIMULATOR_TEST_H
