/// \file
/// What tests of the online entry points share. Only for programs that link the shared library.
#ifndef ORMO_TESTS_SUPPORT_ONLINE_TEST_H
#define ORMO_TESTS_SUPPORT_ONLINE_TEST_H

#include <memory>

#include "ormo/ormo_runner.h"
#include "ox/graph_utils.h"
#include "ox/session.h"
#include "support/runner_test.h"

namespace Ormo::Testing {

class OnlineTest : public RunnerTest {
 protected:
  void Finalize() override {
    OrmoOnlineRunnerFinalize();
    session_.reset();
  }

  static void Init(const std::vector<uint32_t>& deviceIds = {0}) {
    ASSERT_EQ(OrmoOnlineRunnerInit({deviceIds}), STATUS_SUCCESS);
  }

  /// The graph of that text, by way of a file.
  ox::Graph LoadGraph(const std::string& text) const {
    const std::string file = directory_ / "graph.json";
    WriteFile(file, text);
    std::shared_ptr<ox::ComputeGraph> graph;
    EXPECT_TRUE(ox::GraphUtils::LoadOXGraph(file.c_str(), graph));
    return ox::Graph(graph);
  }

  /// A request for `loop` profiled executions in the test's session.
  RunnerConfig MakeConfig(uint32_t loop = 1) const {
    RunnerConfig config;
    config.session = session_.get();
    config.prof = true;
    config.loop = loop;
    return config;
  }

  std::unique_ptr<ox::Session> session_ = std::make_unique<ox::Session>();
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_ONLINE_TEST_H
