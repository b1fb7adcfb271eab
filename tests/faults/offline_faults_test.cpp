// What a tuner is told when one call of the platform fails, and that nothing is lost by it.
#include "faults/fault_sweep.h"
#include "faults/shared_statuses.h"
#include "faults/works.h"
#include "ormo/ormo_runner.h"
#include "support/graph_text.h"

namespace Ormo::Testing {
namespace {

constexpr int32_t MEMORY_CODE = 207001;

const ExpectedStatuses MODEL_SIZE = All(STATUS_PLATFORM_FAILED, {"zelmdlQuerySizeFromMem"});
const ExpectedStatuses LOAD_FROM_MEMORY = All(STATUS_PLATFORM_FAILED, {"zelmdlLoadFromMem"});

// What every run does with its buffers, wherever they come from. The context is set for the load,
// for the run and for the unload, which goes on without it.
const ExpectedStatuses RUN =
    Join({{{"zelrtSetCurrentContext", {STATUS_FAILED, STATUS_FAILED, 0}},
           {"zelrtGetMemInfo", {STATUS_NOT_ENOUGH_MEMORY}},
           {"zelrtMalloc", {STATUS_DEVICE_MEMORY_FAILED}},
           {"zelmdlExecute", {STATUS_EXECUTE_FAILED}}},
          All(STATUS_FAILED, {"zelmdlCreateDesc", "zelmdlGetDesc"}),
          All(STATUS_PLATFORM_FAILED,
              {"zelmdlCreateDataset", "zelCreateDataBuffer", "zelmdlAddDatasetBuffer"}),
          All(0, {"zelrtMemset", "zelmdlDestroyDesc", "zelmdlGetDatasetNumBuffers",
                  "zelmdlGetDatasetBuffer", "zelGetDataBufferAddr", "zelrtFree",
                  "zelDestroyDataBuffer", "zelmdlDestroyDataset", "zelmdlUnload"})});

// Without buffers of the caller's: an input of no size cannot be, an output of no size gets a
// default, and a model without its buffers does not execute.
const ExpectedStatuses MODEL_SIZES = {
    {"zelmdlGetNumInputs", {STATUS_EXECUTE_FAILED}},
    {"zelmdlGetNumOutputs", {STATUS_EXECUTE_FAILED}},
    {"zelmdlGetInputSizeByIndex", {STATUS_PLATFORM_FAILED}},
    {"zelmdlGetOutputSizeByIndex", {0}},
};

// With them: their number is checked first, their sizes and shapes count, and of the accesses to
// the buffers the first copies back while others free.
const ExpectedStatuses GIVEN_BUFFERS = Join(
    {All(0, {"zelmdlGetInputSizeByIndex", "zelmdlGetOutputSizeByIndex", "zelGetDataBufferSizeV2"}),
     All(STATUS_PLATFORM_FAILED, {"zelCreateTensorDesc", "zelmdlSetDatasetTensorDesc"}),
     {{"zelmdlGetNumInputs", {STATUS_FAILED, STATUS_EXECUTE_FAILED}},
      {"zelmdlGetNumOutputs", {STATUS_FAILED, STATUS_EXECUTE_FAILED}},
      {"zelrtMemcpy", {STATUS_DEVICE_MEMORY_FAILED}},
      {"zelmdlGetDatasetBuffer", {STATUS_FAILED, 0}},
      {"zelGetDataBufferAddr", {STATUS_FAILED, 0}}}});

const ExpectedStatuses PROFILING =
    Join({RECORDS, All(STATUS_FAILED, {"zelprofModelSubscribe", "zelprofModelUnSubscribe"})});

// Whatever fails with memory of the library's own, the platform's is the way out; and without huge
// pages ordinary ones do.
const ExpectedStatuses OWN_MEMORY = All(0, {"zelrtMalloc", "zelmdlLoadFromMemWithMem"});

// An unknown chip has no time-out.
const ExpectedStatuses INITIALISATION_AND_FINALISATION =
    Join({CLAIMING, PLATFORM_LIFE, All(STATUS_FAILED, {"zelrtSetOpExecuteTimeOut"})});

// The tables of the paths; later rows go before earlier ones.
const ExpectedStatuses LOADED_FILE =
    Join({LOCK, RUN, GIVEN_BUFFERS, {{"zelmdlLoadFromFile", {STATUS_PLATFORM_FAILED}}}});
const ExpectedStatuses LOADED_IMAGE_PROFILED =
    Join({LOCK, MODEL_SIZE, LOAD_FROM_MEMORY, RUN, GIVEN_BUFFERS, PROFILING});
const ExpectedStatuses OWN_MODEL = Join({LOCK, RUN, MODEL_SIZES});
const ExpectedStatuses ONCE = Join({OWN_MODEL, MODEL_SIZE, LOAD_FROM_MEMORY});
const ExpectedStatuses ONCE_PROFILED = Join({ONCE, PROFILING});
const ExpectedStatuses ONCE_IN_OWN_MEMORY = Join({OWN_MODEL, MODEL_SIZE, OWN_MEMORY});
const ExpectedStatuses ONCE_WITH_BATCH = Join(
    {OWN_MODEL, LOAD_FROM_MEMORY,
     All(STATUS_DYNAMIC_PARAM_FAILED, {"zelmdlGetInputIndexByName", "zelmdlSetDynamicBatchSize"})});
const ExpectedStatuses LIFE = Join({ONCE, INITIALISATION_AND_FINALISATION});

// The same when the platform says that it could not allocate.
ExpectedStatuses ForMemoryCode(ExpectedStatuses table) {
  for (const char* function : {"zelmdlLoadFromFile", "zelmdlQuerySizeFromMem", "zelmdlLoadFromMem",
                               "zelrtMalloc", "zelrtMemcpy", "zelmdlExecute"}) {
    if (table.count(function) != 0) {
      table[function] = {STATUS_MEMORY_ALLOCATION_FAILED};
    }
  }
  return table;
}

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
  const Work live_ = [this] { return Live(RunOnce); };
};

TEST_F(OfflineFaultsTest, CleanRuns) {
  ExpectCleanRun("offline, once, with initialisation and finalisation", live_);
  Init();
  ExpectCleanRun("offline, loaded from a file", runLoadedFile_);
  ExpectCleanRun("offline, loaded from memory, profiled", RunLoadedImageProfiled);
  ExpectCleanRun("offline, once, profiled", RunOnceProfiled);
  ExpectCleanRun("offline, once, in memory of the library's own", RunOnceInOwnMemory);
  ExpectCleanRun("offline, once, with a dynamic batch", RunOnceWithBatch);
}

TEST_F(OfflineFaultsTest, CallsOfAModelFromAFileFail) {
  Init();
  SweepFailures("offline, loaded from a file", {runLoadedFile_}, LOADED_FILE);
  SweepFailures("offline, loaded from a file, without memory", {runLoadedFile_},
                ForMemoryCode(LOADED_FILE), MEMORY_CODE);
}

TEST_F(OfflineFaultsTest, CallsOfAProfiledModelFail) {
  Init();
  SweepFailures("offline, loaded from memory, profiled", {RunLoadedImageProfiled},
                LOADED_IMAGE_PROFILED);
}

TEST_F(OfflineFaultsTest, CallsOfAProfiledOneShotRunFail) {
  Init();
  SweepFailures("offline, once, profiled", {RunOnceProfiled}, ONCE_PROFILED);
  SweepFailures("offline, once, profiled, without memory", {RunOnceProfiled},
                ForMemoryCode(ONCE_PROFILED), MEMORY_CODE);
}

TEST_F(OfflineFaultsTest, CallsWithMemoryOfTheLibrarysOwnFail) {
  Init();
  SweepFailures("offline, once, in memory of the library's own", {RunOnceInOwnMemory},
                ONCE_IN_OWN_MEMORY);
}

TEST_F(OfflineFaultsTest, CallsWithADynamicBatchFail) {
  Init();
  SweepFailures("offline, once, with a dynamic batch", {RunOnceWithBatch}, ONCE_WITH_BATCH);
}

TEST_F(OfflineFaultsTest, CallsFromInitialisationToFinalisationFail) {
  SweepFailures("offline, once, with initialisation and finalisation", {live_}, LIFE);
}

TEST_F(OfflineFaultsTest, RecordsAreDamaged) {
  Init();
  SweepRecordFaults(RunOnceProfiled, 3);
}

TEST_F(OfflineFaultsTest, CallsOfRunsThrow) {
  Init();
  SweepExceptions(runLoadedFile_);
  SweepExceptions(RunLoadedImageProfiled);
  SweepExceptions(RunOnceProfiled);
  SweepExceptions(RunOnceInOwnMemory);
  SweepExceptions(RunOnceWithBatch);
}

TEST_F(OfflineFaultsTest, CallsFromInitialisationToFinalisationThrow) {
  SweepExceptions(live_);
}

TEST_F(OfflineFaultsTest, AllocationsOfRunsFail) {
  Init();
  SweepAllocations(runLoadedFile_);
  SweepAllocations(RunLoadedImageProfiled);
  SweepAllocations(RunOnceProfiled);
  SweepAllocations(RunOnceInOwnMemory);
  SweepAllocations(RunOnceWithBatch);
}

TEST_F(OfflineFaultsTest, AllocationsFromInitialisationToFinalisationFail) {
  SweepAllocations(live_);
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
