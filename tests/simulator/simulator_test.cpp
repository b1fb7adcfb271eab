#include "simulator/simulator_test.h"

#include <dlfcn.h>

#include <cstdlib>

#include "ormo/ormo_runner.h"
#include "ormo_host/control.h"

namespace Ormo::Testing {

FakeSimulator& TheFakeSimulator() {
  static FakeSimulator fake;
  return fake;
}

void SetVariable(const char* name, const char* value) {
  // NOLINTBEGIN(concurrency-mt-unsafe): no other thread asks for it
  if (value == nullptr) {
    unsetenv(name);
  } else {
    setenv(name, value, 1);
  }
  // NOLINTEND(concurrency-mt-unsafe)
}

void SimulatorTest::SetUp() {
  OrmoHost::Reset();
  SetVariable("PELT_SOC_VERSION", "TarnLake1");
  UseLibrary("whole");
}

void SimulatorTest::TearDown() {
  OrmoPeltRunnerFinalize();
  EXPECT_FALSE(IsLoaded("whole"));
  EXPECT_EQ(fake_.liveCores, 0);
}

std::string SimulatorTest::LibraryDirectory(const std::string& variant) {
  return FAKE_SIMULATORS "/" + variant;
}

void SimulatorTest::UseLibrary(const std::string& variant) {
  SetVariable("PELTV2", LibraryDirectory(variant).c_str());
}

bool SimulatorTest::IsLoaded(const std::string& variant) {
  const std::string path = LibraryDirectory(variant) + "/bin/libpelt_api.so";
  void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle != nullptr) {
    dlclose(handle);
  }
  return handle != nullptr;
}

std::string SimulatorTest::WriteGraph(const KernelNodes& nodes) const {
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

}  // namespace Ormo::Testing
