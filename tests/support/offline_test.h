/// \file
/// What tests of the offline entry points share. Only for programs that link the shared library.
#ifndef ORMO_TESTS_SUPPORT_OFFLINE_TEST_H
#define ORMO_TESTS_SUPPORT_OFFLINE_TEST_H

#include "ormo/ormo_runner.h"
#include "support/runner_test.h"

namespace Ormo::Testing {

/// The bytes of a vector or string as a buffer of the interface; they stay the caller's.
template <typename Container>
OrmoDataInfo AsBuffer(const Container& content) {
  OrmoDataInfo info;
  info.data = const_cast<typename Container::value_type*>(content.data());
  info.size = content.size() * sizeof(typename Container::value_type);
  return info;
}

/// A request for `loop` executions of the model of that graph text.
inline RunnerConfig MakeConfig(const std::string& graph, bool prof, uint32_t loop = 1) {
  RunnerConfig config;
  config.modelData = AsBuffer(graph);
  config.prof = prof;
  config.loop = loop;
  return config;
}

class OfflineTest : public RunnerTest {
 protected:
  void Finalize() override { OrmoOfflineRunnerFinalize(); }

  static void Init(const std::vector<uint32_t>& deviceIds = {0}) {
    ASSERT_EQ(OrmoOfflineRunnerInit({deviceIds}), STATUS_SUCCESS);
  }

  static uint32_t Load(const std::string& graph) {
    uint32_t modelId = 0;
    EXPECT_EQ(OrmoOfflineLoadFromMem(AsBuffer(graph), modelId), STATUS_SUCCESS);
    return modelId;
  }
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_OFFLINE_TEST_H
