/// \file
/// What tests of the offline entry points share. Only for programs that link the shared library.
#ifndef ORMO_TESTS_SUPPORT_OFFLINE_TEST_H
#define ORMO_TESTS_SUPPORT_OFFLINE_TEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "ormo/ormo_runner.h"
#include "ormo_host/control.h"
#include "support/temp_directory.h"

namespace Ormo::Test {

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

/// A fresh machine, with the library's files in a directory of the test's own. A profiled run ends
/// with its pipe. What a test leaves behind on the platform fails it.
class OfflineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("HOME", directory_.Path().c_str(), 1);
    setenv("TARN_CACHE_PATH", directory_.Path().c_str(), 1);
    setenv("ORMO_PROF_END", "close", 1);
    OrmoHost::Reset();
  }

  void TearDown() override {
    OrmoOfflineRunnerFinalize();
    EXPECT_EQ(OrmoHost::Alive().ToString(), "");
    OrmoHost::Reset();
  }

  static void Init(const std::vector<uint32_t>& deviceIds = {0}) {
    ASSERT_EQ(OrmoOfflineRunnerInit({deviceIds}), STATUS_SUCCESS);
  }

  static uint32_t Load(const std::string& graph) {
    uint32_t modelId = 0;
    EXPECT_EQ(OrmoOfflineLoadFromMem(AsBuffer(graph), modelId), STATUS_SUCCESS);
    return modelId;
  }

  TempDirectory directory_;
};

}  // namespace Ormo::Test

#endif  // ORMO_TESTS_SUPPORT_OFFLINE_TEST_H
