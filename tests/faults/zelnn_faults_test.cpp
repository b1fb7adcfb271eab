// The same for single operators.
#include "faults/fault_sweep.h"
#include "faults/shared_statuses.h"
#include "support/zelnn_test.h"

namespace Ormo::Testing {
namespace {

constexpr uint32_t LOOP = 1;  // what fails in the first execution fails in the next in the same way

// A tensor that cannot be made is one that the operator lacks.
const ExpectedStatuses RUN = Join(
    {LOCK, RECORDS, All(FAILED_OR_NOT, {"memset_s"}),
     All(STATUS_FAILED, {"zelrtSetCurrentContext", "ProfOpSubscribe", "ProfOpUnSubscribe",
                         "TypeUtils::SerialStringToDataType", "GetSizeInBytes", "memcpy_s",
                         "zelrtMalloc", "zelrtMemset", "zelCreateTensor", "zelCreateIntArray",
                         "zelnnFlashAttentionScoreGetWorkspaceSize", "zelnnFlashAttentionScore"}),
     All(0, {"zelrtFree", "zelrtSynchronizeStream", "zelDestroyTensor", "zelDestroyIntArray"})});
// The context is set for the set-up, the run and the release.
const ExpectedStatuses LIFE =
    Join({RUN, CLAIMING, PLATFORM_LIFE, {{"zelrtSetCurrentContext", {0, STATUS_FAILED, 0}}}});

class ZelnnFaultsTest : public FaultSweepTest {
 protected:
  ZelnnFaultsTest()
      : FaultSweepTest([] { return OrmoZelnnRunnerInit({{1}}); }, OrmoZelnnRunnerFinalize) {}

  const Work run_ = [] {
    RunnerResult result;
    const int status = OrmoZelnnRun(MakeOpConfig(AttentionRequest(), LOOP), result);
    EXPECT_EQ(result.opCostTimes.size(), status == STATUS_SUCCESS ? 1U : 0U);
    EXPECT_EQ(result.aicoreCostTimes.size(), result.opCostTimes.size());
    return status;
  };
  const Work live_ = [this] { return Live(run_); };
};

TEST_F(ZelnnFaultsTest, CleanRuns) {
  ExpectCleanRun("single operator, with initialisation and finalisation", live_);
}

TEST_F(ZelnnFaultsTest, CallsOfRunsFail) {
  Init();
  SweepFailures("single operator", {run_}, RUN);
}

TEST_F(ZelnnFaultsTest, CallsFromInitialisationToFinalisationFail) {
  SweepFailures("single operator, with initialisation and finalisation", {live_}, LIFE);
}

TEST_F(ZelnnFaultsTest, CallsThrow) {
  Init();
  SweepExceptions(run_);
  OrmoZelnnRunnerFinalize();
  SweepExceptions(live_);
}

TEST_F(ZelnnFaultsTest, AllocationsFail) {
  Init();
  SweepAllocations(run_);
  OrmoZelnnRunnerFinalize();
  SweepAllocations(live_);
}

TEST_F(ZelnnFaultsTest, RecordsAreDamaged) {
  Init();
  SweepRecordFaults(run_, uint64_t{2} * LOOP);
}

}  // namespace
}  // namespace Ormo::Testing
