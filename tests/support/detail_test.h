/// \file
/// What tests of detailed calls share: all runners on four devices. Only for programs that link the
/// shared library.
#ifndef ORMO_TESTS_SUPPORT_DETAIL_TEST_H
#define ORMO_TESTS_SUPPORT_DETAIL_TEST_H

#include "ormo/ormo_runner_detail.h"
#include "support/graph_text.h"
#include "support/offline_test.h"
#include "support/online_test.h"
#include "support/zelnn_test.h"

namespace Ormo::Testing {

class DetailTest : public OnlineTest {
 protected:
  void SetUp() override {
    OnlineTest::SetUp();
    OrmoHost::SetDeviceCount(4);
    const RunnerInitConfig devices = {{0, 1, 2, 3}};
    ASSERT_EQ(OrmoOfflineRunnerInit(devices), STATUS_SUCCESS);
    ASSERT_EQ(OrmoZelnnRunnerInit(devices), STATUS_SUCCESS);
    ASSERT_EQ(OrmoOnlineRunnerInit(devices), STATUS_SUCCESS);
  }

  void Finalize() override {
    OrmoZelnnRunnerFinalize();
    OnlineTest::Finalize();
    OrmoOfflineRunnerFinalize();
  }

  /// Loads, runs and unloads a model of two operators.
  int RunOffline(bool prof, uint32_t loop = 1) {
    const std::string graph = AddGraph(8, 1, 2);
    RunnerConfig config = Testing::MakeConfig(graph, prof, loop);
    return OrmoOfflineRunDetailed(config, request_, result_, detail_);
  }

  /// Runs a graph of two operators in the session.
  int RunOnline(bool prof, uint32_t loop = 1) {
    RunnerConfig config = MakeConfig(loop);
    config.prof = prof;
    return OrmoOnlineRunDetailed(LoadGraph(AddGraph(8, 1, 2)), config, request_, results_, detail_);
  }

  int RunOperator(uint32_t loop = 1, const std::string& request = AttentionRequest()) {
    return OrmoZelnnRunDetailed(MakeOpConfig(request, loop), request_, result_, detail_);
  }

  RunRequest request_;
  RunnerResult result_;
  std::vector<RunnerRunResult> results_;
  RunDetail detail_;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_DETAIL_TEST_H
