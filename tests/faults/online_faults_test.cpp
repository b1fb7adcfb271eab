// The same for graphs in a session.
#include <memory>
#include <string>
#include <vector>

#include "faults/fault_sweep.h"
#include "faults/shared_statuses.h"
#include "ormo/ormo_runner.h"
#include "ox/graph_utils.h"
#include "ox/session.h"
#include "support/graph_text.h"

namespace Ormo::Testing {
namespace {

constexpr uint32_t LOOP = 2;

// Records are looked for whether there are any or not.
const ExpectedStatuses RUN =
    Join({LOCK, RECORDS, All(0, {"Session::RemoveGraph"}),
          All(STATUS_FAILED, {"Session::RegisterCallBackFunc", "GraphUtilsEx::GetComputeGraph",
                              "GetSizeInBytes", "Session::AddGraph", "zelgrphProfGraphSubscribe",
                              "Session::RunGraphAsync", "zelgrphProfGraphUnSubscribe"})});
const ExpectedStatuses LIFE = Join({RUN, CLAIMING});

class OnlineFaultsTest : public FaultSweepTest {
 protected:
  OnlineFaultsTest()
      : FaultSweepTest([] { return OrmoOnlineRunnerInit({{1}}); }, OrmoOnlineRunnerFinalize) {}

  void SetUp() override {
    FaultSweepTest::SetUp();
    session_ = std::make_unique<ox::Session>();
    const std::string file = directory_ / "graph.json";
    WriteFile(file, AddGraph(2, 1));
    std::shared_ptr<ox::ComputeGraph> graph;
    ASSERT_TRUE(ox::GraphUtils::LoadOXGraph(file.c_str(), graph));
    graph_ = ox::Graph(graph);
  }

  void Finalize() override {
    FaultSweepTest::Finalize();
    session_.reset();
  }

  // Measures a graph that depends on another; results are whole or empty.
  int Run(bool prof) const {
    RunnerConfig config;
    config.session = session_.get();
    config.prof = prof;
    config.loop = LOOP;
    config.options = {{"ox.buildMode", "normal"}};
    config.dependGraphs = {graph_};
    std::vector<RunnerRunResult> results;
    const int status = OrmoOnlineRun(graph_, config, results);
    EXPECT_EQ(results.size(), prof && status == STATUS_SUCCESS ? LOOP : 0);
    return status;
  }

  std::unique_ptr<ox::Session> session_;
  ox::Graph graph_;
  const Work run_ = [this] { return Run(false); };
  const Work runProfiled_ = [this] { return Run(true); };
  const Work live_ = [this] { return Live(runProfiled_); };
};

TEST_F(OnlineFaultsTest, CleanRuns) {
  ExpectCleanRun("online, with initialisation and finalisation", live_);
  Init();
  ExpectCleanRun("online", run_);
}

TEST_F(OnlineFaultsTest, CallsOfRunsFail) {
  Init();
  SweepFailures("online", {run_, runProfiled_}, RUN);
}

TEST_F(OnlineFaultsTest, CallsFromInitialisationToFinalisationFail) {
  SweepFailures("online, with initialisation and finalisation", {live_}, LIFE);
}

TEST_F(OnlineFaultsTest, CallsThrow) {
  Init();
  SweepExceptions(run_);
  SweepExceptions(runProfiled_);
  OrmoOnlineRunnerFinalize();
  SweepExceptions(live_);
}

TEST_F(OnlineFaultsTest, AllocationsFail) {
  Init();
  SweepAllocations(run_);
  SweepAllocations(runProfiled_);
  OrmoOnlineRunnerFinalize();
  SweepAllocations(live_);
}

TEST_F(OnlineFaultsTest, RecordsAreDamaged) {
  Init();
  SweepRecordFaults(runProfiled_, uint64_t{2} * LOOP);
}

}  // namespace
}  // namespace Ormo::Testing
