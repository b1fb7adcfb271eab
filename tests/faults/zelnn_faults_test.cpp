// The same for single operators.
#include "faults/fault_sweep.h"
#include "faults/shared_statuses.h"
#include "support/zelnn_test.h"

namespace Ormo::Test {
namespace {

constexpr uint32_t LOOP = 1;  // what fails in the first execution fails in the next in the same way

// A tensor that cannot be made is one that the operator lacks.
const ExpectedStatuses RUN = Join({LOCK,
                                   RECORDS,
                                   {{"zelrtSetCurrentContext", {STATUS_FAILED}},
                                    {"ProfOpSubscribe", {STATUS_FAILED}},
                                    {"ProfOpUnSubscribe", {STATUS_FAILED}},
                                    {"TypeUtils::SerialStringToDataType", {STATUS_FAILED}},
                                    {"GetSizeInBytes", {STATUS_FAILED}},
                                    {"memset_s", {FAILED_OR_NOT}},
                                    {"memcpy_s", {STATUS_FAILED}},
                                    {"zelrtMalloc", {STATUS_FAILED}},
                                    {"zelrtMemset", {STATUS_FAILED}},
                                    {"zelrtFree", {0}},
                                    {"zelrtSynchronizeStream", {0}},
                                    {"zelCreateTensor", {STATUS_FAILED}},
                                    {"zelCreateIntArray", {STATUS_FAILED}},
                                    {"zelDestroyTensor", {0}},
                                    {"zelDestroyIntArray", {0}},
                                    {"zelnnFlashAttentionScoreGetWorkspaceSize", {STATUS_FAILED}},
                                    {"zelnnFlashAttentionScore", {STATUS_FAILED}}}});
const ExpectedStatuses LIFE = Join({RUN,
                                    CLAIMING,
                                    {{"zelInit", {STATUS_FAILED}},
                                     {"zelrtGetDeviceCount", {STATUS_FAILED}},
                                     {"zelrtSetDevice", {STATUS_FAILED}},
                                     {"zelrtCreateContext", {STATUS_FAILED}},
                                     // It is set for the set-up, the run and the release.
                                     {"zelrtSetCurrentContext", {0, STATUS_FAILED, 0}},
                                     {"zelrtGetSocName", {0}},
                                     {"zelrtDestroyContext", {0}},
                                     {"zelrtResetDevice", {0}},
                                     {"zelFinalize", {0}}}});

class ZelnnFaultsTest : public FaultSweepTest {
 protected:
  ZelnnFaultsTest()
      : FaultSweepTest([] { return OrmoZelnnRunnerInit({}); }, OrmoZelnnRunnerFinalize) {}

  const Work run_ = [] {
    RunnerResult result;
    const int status = OrmoZelnnRun(MakeOpConfig(AttentionRequest(), LOOP), result);
    EXPECT_EQ(result.opCostTimes.size(), status == STATUS_SUCCESS ? 1U : 0U);
    EXPECT_EQ(result.aicoreCostTimes.size(), result.opCostTimes.size());
    return status;
  };
  const Work live_ = [this] { return Live(run_); };
};

TEST_F(ZelnnFaultsTest, CallsOfRunsFail) {
  Init();
  SweepFailures(run_, RUN);
}

TEST_F(ZelnnFaultsTest, CallsFromInitialisationToFinalisationFail) {
  SweepFailures(live_, LIFE);
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
}  // namespace Ormo::Test
