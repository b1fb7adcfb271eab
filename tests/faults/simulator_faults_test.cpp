// The same for simulated kernels.
#include <cstdlib>
#include <string>

#include "faults/fault_sweep.h"
#include "ormo/ormo_runner.h"

namespace Ormo::Testing {
namespace {

constexpr char LIFE[] = "simulator, with initialisation and finalisation";

class SimulatorFaultsTest : public FaultSweepTest {
 protected:
  SimulatorFaultsTest() : FaultSweepTest(OrmoPeltRunnerInit, OrmoPeltRunnerFinalize) {}

  void SetUp() override {
    FaultSweepTest::SetUp();
    // NOLINTBEGIN(concurrency-mt-unsafe): no other thread asks for it
    setenv("PELTV2", PELT_DIRECTORY, 1);
    setenv("PELT_SOC_VERSION", "TarnLake1", 1);
    // NOLINTEND(concurrency-mt-unsafe)
    WriteFile(graph_, R"({"format": "ox-graph", "version": 1, "name": "kernel", "nodes": [)"
                      R"({"name": "add", "type": "Data", "outputs": [{"shape": [1], "dtype": )"
                      R"("float32"}], "attrs": {"json_file_path": ")" +
                          std::string(directory_ / "add.json") + R"("}}]})");
    WriteFile(directory_ / "add.dux", "dux 1\nkernel add__kernel0\n  load 1\nend\n");
  }

  const std::string graph_ = directory_ / "graph.json";
  const Work run_ = [this] {
    RunnerResult result;
    const int status = OrmoPeltRun(graph_, result);
    EXPECT_EQ(result.totalCostTime != 0, status == STATUS_SUCCESS);
    return status;
  };
  const Work live_ = [this] { return Live(run_); };
};

TEST_F(SimulatorFaultsTest, CleanRun) {
  ExpectCleanRun(LIFE, live_);
}

TEST_F(SimulatorFaultsTest, CallsFail) {
  SweepFailures(LIFE, live_);
}

TEST_F(SimulatorFaultsTest, AllocationsFail) {
  SweepAllocations(live_);
}

}  // namespace
}  // namespace Ormo::Testing
