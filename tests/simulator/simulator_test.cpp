// Kernels that run on a simulator that says what the test wants, from Init to Finalize, and every
// way in which its library is refused.
#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <future>
#include <limits>
#include <stdexcept>

#include "ormo/ormo_runner.h"
#include "ormo_host/control.h"
#include "simulator/fake_simulator.h"
#include "support/expected_text.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {

FakeSimulator& TheFakeSimulator() {
  static FakeSimulator fake;
  return fake;
}

namespace {

constexpr uint64_t MAX = std::numeric_limits<uint64_t>::max();

// Names of nodes and their "json_file_path"; an empty one is left out.
using KernelNodes = std::vector<std::pair<std::string, std::string>>;

// Null unsets the variable.
void SetVariable(const char* name, const char* value) {
  // NOLINTBEGIN(concurrency-mt-unsafe): no other thread asks for it
  if (value == nullptr) {
    unsetenv(name);
  } else {
    setenv(name, value, 1);
  }
  // NOLINTEND(concurrency-mt-unsafe)
}

// A simulator library is chosen for a chip that can be simulated; the one that works, at first.
// What stays loaded or alive after a test fails it.
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

  // "whole", "without_init", and so on: see CMakeLists.txt.
  static void UseLibrary(const std::string& variant) {
    SetVariable("PELTV2", LibraryDirectory(variant).c_str());
  }

  static bool IsLoaded(const std::string& variant) {
    const std::string path = LibraryDirectory(variant) + "/bin/libpelt_api.so";
    void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    return handle != nullptr && dlclose(handle) == 0;
  }

  // Writes a graph of such nodes and returns its path.
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

TEST_F(SimulatorTest, ARepeatedInitLoadsNothingAndAFinalizeWithoutInitOnlyLogs) {
  EXPECT_EQ(OrmoPeltRunnerInit(), STATUS_SUCCESS);
  SetVariable("PELTV2", "/no/such/directory");
  const LogCapture log(DLOG_WARN);
  EXPECT_EQ(OrmoPeltRunnerInit(), STATUS_SUCCESS);
  OrmoPeltRunnerFinalize();
  OrmoPeltRunnerFinalize();
  EXPECT_THAT(log.Messages(), ElementsAre("Pelt runner is already initialized",
                                          "Pelt runner has not been initialized."));
}

TEST_F(SimulatorTest, AProcessMayEndWithoutFinalizing) {
  EXPECT_EXIT(
      {
        const int status = OrmoPeltRunnerInit();
        std::exit(status);  // NOLINT(concurrency-mt-unsafe)
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(SimulatorTest, ALibraryThatCannotBeUsedIsClosedAndInitIsRepeatable) {
  // The variant, null for no variable and "" for an empty one; the status; how the line begins.
  const std::tuple<const char*, int, const char*> table[] = {
      {nullptr, -1, "PELTV2 does not exist."},
      {"", -1, "realpath"},
      {"no_such", -1, "realpath"},
      {".", 12, "Failed to invoke dlopen. path = libpelt_api.so, error = /"},
      {"without_init", 13, "Failed to get PeltInit from pelt runner lib."},
      {"without_create", 13, "Failed to get PeltFunc from pelt runner lib."},
      {"without_tick", 13, "Failed to get PeltFunc from pelt runner lib."},
      {"without_destroy", 13, "Failed to get PeltFunc from pelt runner lib."},
      {"throwing_init", -1, "PeltInit has thrown: an error of its own."},
  };
  LogCapture log(DLOG_WARN);
  for (const auto& [variant, status, error] : table) {
    SCOPED_TRACE(error);
    if (variant == nullptr || *variant == '\0') {
      SetVariable("PELTV2", variant);
    } else {
      UseLibrary(variant);
    }
    log.Clear();
    EXPECT_EQ(OrmoPeltRunnerInit(), status);
    EXPECT_EQ(OrmoPeltRun("graph.json", result_), STATUS_FAILED);
    EXPECT_THAT(log.Messages(),
                ElementsAre(StartsWith(error), "Init Pelt module for tuning failed.",
                            "Pelt runner has not been initialized."));
    EXPECT_EQ(log.Lines().front().file, "pelt_runner.cpp");
    EXPECT_TRUE(variant == nullptr || !IsLoaded(variant));
  }
  UseLibrary("whole");
  EXPECT_EQ(OrmoPeltRunnerInit(), STATUS_SUCCESS);
}

TEST_F(SimulatorTest, OnlyAChipThatCanBeSimulatedIsTaken) {
  LogCapture log(DLOG_WARN);
  for (const char* chip : {"", "TarnLake2", "tarnlake1", "TarnLake1 "}) {
    SetVariable("PELT_SOC_VERSION", chip);
    EXPECT_EQ(OrmoPeltRunnerInit(), STATUS_FAILED) << chip;
  }
  SetVariable("PELT_SOC_VERSION", nullptr);
  EXPECT_EQ(OrmoPeltRunnerInit(), STATUS_FAILED);
  EXPECT_EQ(log.Count(DLOG_ERROR, "CHIP_INFO does not exist."), 5U);
  EXPECT_EQ(log.Lines().size(), 5U);
  EXPECT_THAT(fake_.calls, IsEmpty());
}

TEST_F(SimulatorTest, WhatThePlatformThrowsLeavesNothingLoaded) {
  for (const char* function : {"mmRealPath", "mmDlopen"}) {
    OrmoHost::Throw(function, 1);
    EXPECT_THROW(OrmoPeltRunnerInit(), std::runtime_error);
    EXPECT_FALSE(IsLoaded("whole"));
  }
  EXPECT_EQ(OrmoPeltRunnerInit(), STATUS_SUCCESS);
  OrmoHost::Throw("mmDlclose", 1);
}

class SimulatorRun : public SimulatorTest {
 protected:
  void SetUp() override {
    SimulatorTest::SetUp();
    ASSERT_EQ(OrmoPeltRunnerInit(), STATUS_SUCCESS);
  }

  // Runs kernels "k0", "k1" and so on that take that many ticks.
  int RunKernels(const std::vector<uint64_t>& ticks) {
    KernelNodes nodes;
    for (size_t i = 0; i < ticks.size(); ++i) {
      const std::string name = "k" + std::to_string(i);
      nodes.emplace_back(name, name + ".json");
      fake_.ticks[name + "__kernel0"] = ticks[i];
    }
    return OrmoPeltRun(WriteGraph(nodes), result_);
  }
};

TEST_F(SimulatorTest, KernelsStandBesideTheirDescriptionsAndRunInTheGraphsOrder) {
  const std::string graph = WriteGraph({{"plain", "/k/out/add_abc.json"},
                                        {"none", ""},
                                        {"no slash", "mul.json"},
                                        {"first suffix", "/k.json/a.json"}});
  fake_.ticks = {{"add_abc__kernel0", 3}, {"mul__kernel0", 4}, {"a.json__kernel0", 5}};
  result_.totalCostTime = 100;
  result_.runCostTime = 50;
  result_.opCostTimes["other"] = 7;
  for (int round = 0; round < 2; ++round) {
    const LogCapture log;
    OrmoHost::RecordCalls();
    fake_.calls.clear();
    EXPECT_EQ(OrmoPeltRunnerInit(), STATUS_SUCCESS);
    EXPECT_TRUE(IsLoaded("whole"));
    EXPECT_EQ(OrmoPeltRun(graph, result_), STATUS_SUCCESS);
    OrmoPeltRunnerFinalize();
    EXPECT_FALSE(IsLoaded("whole"));
    std::string text = log.Text();
    for (const std::string& call : fake_.calls) {
      text += call + "\n";
    }
    ExpectText(RUNS, "run", text);
    for (const char* function : {"mmRealPath", "mmDlopen", "mmDlclose"}) {
      EXPECT_EQ(OrmoHost::CallCount(function), 1U);
    }
  }
  EXPECT_EQ(result_.totalCostTime, 124U);
  EXPECT_EQ(result_.runCostTime, 74U);
  EXPECT_THAT(result_.aicoreCostTimes,
              ElementsAre(Pair("first suffix", 5), Pair("no slash", 4), Pair("plain", 3)));
  EXPECT_THAT(result_.opCostTimes, ElementsAre(Pair("first suffix", 5), Pair("no slash", 4),
                                               Pair("other", 7), Pair("plain", 3)));
}

TEST_F(SimulatorTest, SeveralThreadsSimulateAtATimeOnTheHostsSimulator) {
  SetVariable("PELTV2", PELT_DIRECTORY);
  std::filesystem::current_path(ORMO_EXAMPLES_PATH "/..");
  ASSERT_EQ(OrmoPeltRunnerInit(), STATUS_SUCCESS);
  std::vector<RunnerResult> results(4);
  std::vector<std::future<void>> threads;
  threads.reserve(results.size());
  for (RunnerResult& result : results) {
    threads.push_back(std::async(std::launch::async, [&result] {
      for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(OrmoPeltRun("examples/simulator/tile-64.json", result), STATUS_SUCCESS);
      }
    }));
  }
  threads.clear();  // waits for them
  for (const RunnerResult& result : results) {
    EXPECT_EQ(result.totalCostTime, 10 * 45461U);
  }
}

TEST_F(SimulatorRun, TotalsStayAtTheMaximum) {
  // The kernels' ticks, both figures before, both after, and the warnings.
  const std::tuple<std::vector<uint64_t>, uint64_t, uint64_t, uint64_t, uint64_t, size_t> table[] =
      {
          {{MAX - 3, 2}, 0, 0, MAX - 1, MAX - 1, 0},
          {{4, MAX, 5}, 10, 20, MAX, MAX, 2},
          {{5}, MAX, 7, MAX, 7, 1},              // nothing is added any more
          {{MAX - 1, 5, 6}, 0, 0, MAX, MAX, 2},  // the sum does not fit
          {{5}, 3, MAX, 8, MAX, 0},
      };
  for (const auto& [ticks, totalBefore, runBefore, total, run, warnings] : table) {
    SCOPED_TRACE(PrintToString(ticks) + " on " + std::to_string(totalBefore));
    result_ = {};
    result_.totalCostTime = totalBefore;
    result_.runCostTime = runBefore;
    const LogCapture log(DLOG_WARN);
    EXPECT_EQ(RunKernels(ticks), STATUS_SUCCESS);
    EXPECT_EQ(result_.totalCostTime, total);
    EXPECT_EQ(result_.runCostTime, run);
    EXPECT_EQ(log.Count(DLOG_WARN, "Pelt time is max value."), warnings);
    EXPECT_EQ(result_.opCostTimes["k0"], ticks[0]);
  }
}

TEST_F(SimulatorRun, AKernelWithoutACoreEndsTheRunAndKeepsWhatWasStored) {
  fake_.ticks = {{"a__kernel0", 3}, {"c__kernel0", 4}};
  result_.opCostTimes["b"] = 9;
  const LogCapture log(DLOG_WARN);
  EXPECT_EQ(OrmoPeltRun(WriteGraph({{"a", "a.json"}, {"b", "b.json"}, {"c", "c.json"}}), result_),
            STATUS_FAILED);
  EXPECT_THAT(log.Messages(), ElementsAre("Pelt CreatePeltCore return null ptr."));
  EXPECT_EQ(result_.totalCostTime, 3U);
  EXPECT_EQ(result_.runCostTime, 3U);
  EXPECT_THAT(result_.opCostTimes, ElementsAre(Pair("a", 3), Pair("b", 0)));
  EXPECT_THAT(result_.aicoreCostTimes, ElementsAre(Pair("a", 3), Pair("b", 0)));
}

TEST_F(SimulatorRun, AGraphWithoutKernelsOrThatCannotBeLoadedLeavesTheResultAlone) {
  const LogCapture log(DLOG_WARN);
  EXPECT_EQ(OrmoPeltRun(WriteGraph({{"a", ""}, {"b", ""}}), result_), STATUS_SUCCESS);
  EXPECT_THAT(log.Messages(), IsEmpty());
  const std::string damaged = directory_ / "damaged.json";
  WriteFile(damaged, R"({"format": "ox-graph", "version": 1, "name": "x", "nodes": [{}]})");
  EXPECT_EQ(OrmoPeltRun(damaged, result_), STATUS_FAILED);
  EXPECT_THAT(log.Messages(), ElementsAre("Graph load from File " + damaged + " failed."));
  EXPECT_EQ(result_.totalCostTime, 0U);
  EXPECT_THAT(result_.opCostTimes, IsEmpty());
}

TEST_F(SimulatorRun, WhatTheSimulatorThrowsComesOutAndLeavesNoCore) {
  for (const char* function : {"CreatePeltCore", "GetTotalTick"}) {
    SCOPED_TRACE(function);
    fake_.actions = {{function, [] { throw std::runtime_error("broken"); }}};
    EXPECT_THROW(RunKernels({3}), std::runtime_error);
    EXPECT_EQ(fake_.liveCores, 0);
    EXPECT_EQ(result_.totalCostTime, 0U);
    EXPECT_THAT(result_.opCostTimes, ElementsAre(Pair("k0", 0)));
  }
  // The figure is there by then.
  fake_.actions = {{"DestroyPeltCore", [] { throw std::runtime_error("broken"); }}};
  EXPECT_EQ(RunKernels({3}), STATUS_SUCCESS);
  EXPECT_EQ(result_.totalCostTime, 3U);
}

}  // namespace
}  // namespace Ormo::Testing
