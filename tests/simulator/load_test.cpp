// The simulator's library: from Init to Finalize, and every way in which it is refused.
#include <stdexcept>

#include "simulator/simulator_test.h"

namespace Ormo::Testing {
namespace {

class SimulatorLoad : public SimulatorTest {};

TEST_F(SimulatorLoad, ARepeatedInitLoadsNothingAndAFinalizeWithoutInitOnlyLogs) {
  EXPECT_EQ(OrmoPeltRunnerInit(), STATUS_SUCCESS);
  SetVariable("PELTV2", "/no/such/directory");
  const LogCapture log(DLOG_WARN);
  EXPECT_EQ(OrmoPeltRunnerInit(), STATUS_SUCCESS);
  OrmoPeltRunnerFinalize();
  OrmoPeltRunnerFinalize();
  EXPECT_THAT(log.Messages(), ElementsAre("Pelt runner is already initialized",
                                          "Pelt runner has not been initialized."));
}

TEST_F(SimulatorLoad, AProcessMayEndWithoutFinalizing) {
  EXPECT_EXIT(
      {
        const int status = OrmoPeltRunnerInit();
        std::exit(status);  // NOLINT(concurrency-mt-unsafe)
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(SimulatorLoad, ALibraryThatCannotBeUsedIsClosedAndInitIsRepeatable) {
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

TEST_F(SimulatorLoad, OnlyAChipThatCanBeSimulatedIsTaken) {
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

TEST_F(SimulatorLoad, APlatformThatFailsOrThrowsLeavesNothingLoaded) {
  fake_.ticks["a__kernel0"] = 5;
  const std::string graph = WriteGraph({{"a", "a.json"}});
  // From Init to Finalize; -2 stands for an exception.
  auto run = [&] {
    int status = 0;
    try {
      status = OrmoPeltRunnerInit();
      status = status == STATUS_SUCCESS ? OrmoPeltRun(graph, result_) : status;
    } catch (const std::runtime_error&) {
      status = -2;
    }
    OrmoPeltRunnerFinalize();
    EXPECT_FALSE(IsLoaded("whole"));
    return status;
  };
  const std::tuple<const char*, int, int> table[] = {{"mmRealPath", -1, -2},
                                                     {"mmDlopen", 12, -2},
                                                     {"GraphUtils::LoadOXGraph", -1, -2},
                                                     {"mmDlclose", 0, 0}};
  for (const auto& [function, failed, thrown] : table) {
    SCOPED_TRACE(function);
    OrmoHost::Fail(function, 1, 4711);
    EXPECT_EQ(run(), failed);
    OrmoHost::Throw(function, 1);
    EXPECT_EQ(run(), thrown);
    EXPECT_EQ(run(), STATUS_SUCCESS);
  }
}

}  // namespace
}  // namespace Ormo::Testing
