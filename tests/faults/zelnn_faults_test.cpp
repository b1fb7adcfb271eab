// The same for single operators.
#include "faults/fault_sweep.h"
#include "ormo/ormo_runner_detail.h"
#include "support/zelnn_test.h"

namespace Ormo::Testing {
namespace {

constexpr char LIFE[] = "single operator, with initialisation and finalisation";
constexpr uint32_t LOOP = 1;  // what fails in the first execution fails in the next in the same way

class ZelnnFaultsTest : public FaultSweepTest {
 protected:
  ZelnnFaultsTest()
      : FaultSweepTest([] { return OrmoZelnnRunnerInit({{1}}); }, OrmoZelnnRunnerFinalize) {}

  const Work run_ = [] {
    RunnerResult result = MakeStaleResult();
    const int status = OrmoZelnnRun(MakeOpConfig(AttentionRequest(), LOOP), result);
    if (status == STATUS_SUCCESS) {
      EXPECT_EQ(result.opCostTimes.count("FlashAttentionScore"), 1U);
      EXPECT_EQ(result.opCostTimes.size(), 1U);
    } else {
      ExpectReset(result);
    }
    return status;
  };
  const Work runDetailed_ = [] {
    RunnerResult result = MakeStaleResult();
    RunDetail detail;
    const int status =
        OrmoZelnnRunDetailed(MakeOpConfig(AttentionRequest(), LOOP), RunRequest(), result, detail);
    EXPECT_EQ(detail.reason.empty(), status == STATUS_SUCCESS);
    EXPECT_EQ(result.opCostTimes.size(), status == STATUS_SUCCESS ? 1 : 0);
    return status;
  };
  const Work live_ = [this] { return Live(run_); };
};

TEST_F(ZelnnFaultsTest, CleanRun) {
  ExpectCleanRun(LIFE, live_);
}

TEST_F(ZelnnFaultsTest, CallsFail) {
  SweepFailures(LIFE, live_);
}

TEST_F(ZelnnFaultsTest, CallsThrow) {
  SweepExceptions(live_);
  Init();
  SweepExceptions(runDetailed_);
}

TEST_F(ZelnnFaultsTest, AllocationsFail) {
  SweepAllocations(live_);
  Init();
  SweepAllocations(runDetailed_);
}

TEST_F(ZelnnFaultsTest, RecordsAreDamaged) {
  Init();
  SweepRecordFaults(run_, uint64_t{2} * LOOP);
}

}  // namespace
}  // namespace Ormo::Testing
