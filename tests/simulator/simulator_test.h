/// \file
/// What tests of the simulator runner share.
#ifndef ORMO_TESTS_SIMULATOR_SIMULATOR_TEST_H
#define ORMO_TESTS_SIMULATOR_SIMULATOR_TEST_H

#include <dlfcn.h>

#include <cstdlib>

#include "ormo/ormo_runner.h"
#include "ormo_host/control.h"
#include "simulator/fake_simulator.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {

/// Names of nodes and their "json_file_path"; an empty one is left out.
using KernelNodes = std::vector<std::pair<std::string, std::string>>;

/// Null unsets the variable.
inline void SetVariable(const char* name, const char* value) {
  // NOLINTBEGIN(concurrency-mt-unsafe): no other thread asks for it
  if (value == nullptr) {
    unsetenv(name);
  } else {
    setenv(name, value, 1);
  }
  // NOLINTEND(concurrency-mt-unsafe)
}

/// A simulator library is chosen for a chip that can be simulated; the one that works, at first.
/// What stays loaded or alive after a test fails it.
class SimulatorTest : public testing::Test {
 protected:
  void SetUp() override {
    OrmoHost::Reset();
    fake_ = {};
    SetVariable("PELT_SOC_VERSION", "TarnLake1");
    UseLibrary("whole");
  }

  void TearDown() override {
    OrmoPeltRunnerFinalize();
    EXPECT_FALSE(IsLoaded("whole"));
    EXPECT_EQ(fake_.liveCores, 0);
  }

  static std::string LibraryDirectory(const std::string& variant) {
    return FAKE_SIMULATORS "/" + variant;
  }

  /// "whole", "without_init", and so on: see CMakeLists.txt.
  static void UseLibrary(const std::string& variant) {
    SetVariable("PELTV2", LibraryDirectory(variant).c_str());
  }

  static bool IsLoaded(const std::string& variant) {
    const std::string path = LibraryDirectory(variant) + "/bin/libpelt_api.so";
    void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    return handle != nullptr && dlclose(handle) == 0;
  }

  /// Writes a graph of such nodes and returns its path.
  std::string WriteGraph(const KernelNodes& nodes) const {
    std::string text = R"({"format": "ox-graph", "version": 1, "name": "kernels", "nodes": [)";
    const char* separator = "";
    for (const auto& [name, path] : nodes) {
      text += separator;
      text += R"({"name": ")" + name + R"(", "type": "Kernel", )" +
              R"("outputs": [{"shape": [1], "dtype": "float32"}])";
      text += path.empty() ? "}" : R"(, "attrs": {"json_file_path": ")" + path + R"("}})";
      separator = ",\n";
    }
    WriteFile(directory_ / "graph.json", text + "]}");
    return directory_ / "graph.json";
  }

  const TempDirectory directory_;
  FakeSimulator& fake_ = TheFakeSimulator();
  RunnerResult result_;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SIMULATOR_SIMULATOR_TEST_H
