// What a tuner is told when one call of the platform fails, and that nothing is lost by it.
#include <map>
#include <string>

#include "faults/fault_sweep.h"
#include "faults/works.h"
#include "ormo/ormo_runner.h"
#include "support/graph_text.h"

namespace Ormo::Testing {
namespace {

constexpr int32_t MEMORY_CODE = 207001;

class OfflineFaultsTest : public FaultSweepTest {
 protected:
  OfflineFaultsTest()
      : FaultSweepTest([] { return OrmoOfflineRunnerInit({{1}}); }, OrmoOfflineRunnerFinalize) {}

  void SetUp() override {
    FaultSweepTest::SetUp();
    WriteFile(file_, AddGraph(8, 1, 2));
  }

  const std::string file_ = directory_ / "model.json";
  const Work runLoadedFile_ = [this] { return RunLoadedFile(file_); };
  const std::map<std::string, Work> runs_ = {
      {"offline, loaded from a file", runLoadedFile_},
      {"offline, loaded from memory, profiled", RunLoadedImageProfiled},
      {"offline, once, profiled", RunOnceProfiled},
      {"offline, detailed", RunOnceDetailed},
      {"offline, described", DescribeLoaded},
      {"offline, once, in memory of the library's own", RunOnceInOwnMemory},
      {"offline, once, with a dynamic batch", RunOnceWithBatch}};
  const std::string life_ = "offline, once, with initialisation and finalisation";
  const Work live_ = [this] { return Live(RunOnce); };
};

TEST_F(OfflineFaultsTest, CleanRuns) {
  ExpectCleanRun(life_, live_);
  Init();
  for (const auto& [name, work] : runs_) {
    ExpectCleanRun(name, work);
  }
}

TEST_F(OfflineFaultsTest, CallsFail) {
  SweepFailures(life_, live_);
  Init();
  for (const auto& [name, work] : runs_) {
    SweepFailures(name, work);
  }
  for (const char* name : {"offline, loaded from a file", "offline, once, profiled"}) {
    SweepFailures(name, runs_.at(name), MEMORY_CODE);
  }
}

TEST_F(OfflineFaultsTest, CallsThrow) {
  SweepExceptions(live_);
  Init();
  for (const auto& [name, work] : runs_) {
    SweepExceptions(work);
  }
}

TEST_F(OfflineFaultsTest, AllocationsFail) {
  SweepAllocations(live_);
  Init();
  for (const auto& [name, work] : runs_) {
    SweepAllocations(work);
  }
}

TEST_F(OfflineFaultsTest, RecordsAreDamaged) {
  Init();
  SweepRecordFaults(RunOnceProfiled, 3);
}

TEST_F(OfflineFaultsTest, ADeviceThatCouldNotBeSetUpIsRefusedUntilTheNextInitialisation) {
  for (const char* function :
       {"zelrtSetDevice", "zelrtCreateContext", "zelrtSetOpExecuteTimeOut"}) {
    SCOPED_TRACE(function);
    Init();
    OrmoHost::Fail(function, 1, MEMORY_CODE);
    EXPECT_EQ(RunOnceProfiled(), STATUS_FAILED);
    EXPECT_EQ(OrmoHost::Alive().ToString(), "");
    EXPECT_EQ(RunOnceProfiled(), STATUS_FAILED);
    EXPECT_EQ(runLoadedFile_(), STATUS_FAILED);
    EXPECT_EQ(OrmoHost::Alive().ToString(), "");
    OrmoOfflineRunnerFinalize();
    Init();
    EXPECT_EQ(RunOnceProfiled(), STATUS_SUCCESS);
    OrmoOfflineRunnerFinalize();
  }
}

}  // namespace
}  // namespace Ormo::Testing
