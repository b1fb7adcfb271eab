// The same for graphs in a session.
#include <memory>
#include <string>
#include <vector>

#include "faults/fault_sweep.h"
#include "ormo/ormo_runner_detail.h"
#include "ox/graph_utils.h"
#include "ox/session.h"
#include "support/graph_text.h"

namespace Ormo::Testing {
namespace {

constexpr uint32_t LOOP = 2;

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
  const Work runDetailed_ = [this] {
    RunnerConfig config;
    config.session = session_.get();
    config.prof = true;
    config.loop = LOOP;
    std::vector<RunnerRunResult> results;
    RunDetail detail;
    const int status = OrmoOnlineRunDetailed(graph_, config, RunRequest(), results, detail);
    EXPECT_EQ(detail.reason.empty(), status == STATUS_SUCCESS);
    EXPECT_EQ(results.size(), status == STATUS_SUCCESS ? LOOP : 0);
    return status;
  };
  const Work live_ = [this] { return Live(runProfiled_); };
};

TEST_F(OnlineFaultsTest, CleanRuns) {
  ExpectCleanRun("online, with initialisation and finalisation", live_);
  Init();
  ExpectCleanRun("online", run_);
}

TEST_F(OnlineFaultsTest, CallsFail) {
  SweepFailures("online, with initialisation and finalisation", live_);
  Init();
  SweepFailures("online", run_);
}

TEST_F(OnlineFaultsTest, CallsThrow) {
  SweepExceptions(live_);
  Init();
  SweepExceptions(run_);
  SweepExceptions(runDetailed_);
}

TEST_F(OnlineFaultsTest, AllocationsFail) {
  SweepAllocations(live_);
  Init();
  SweepAllocations(run_);
  SweepAllocations(runDetailed_);
}

TEST_F(OnlineFaultsTest, RecordsAreDamaged) {
  Init();
  SweepRecordFaults(runProfiled_, uint64_t{2} * LOOP);
}

}  // namespace
}  // namespace Ormo::Testing
