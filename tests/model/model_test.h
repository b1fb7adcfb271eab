/// \file
/// What tests of models on a device share.
#ifndef ORMO_TESTS_MODEL_MODEL_TEST_H
#define ORMO_TESTS_MODEL_MODEL_TEST_H

#include <string>

#include "model/run_manager.h"
#include "ormo/status.h"
#include "ormo_host/control.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {

constexpr size_t GIB = size_t{1} << 30;

/// Device 0 with its manager and at most one model.
class ModelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    OrmoHost::Reset();
    ASSERT_EQ(zelInit(""), 0);
    ASSERT_EQ(manager_.Init(0), STATUS_SUCCESS);
  }

  void TearDown() override {
    Unload();
    manager_.Finalize();
    zelFinalize();
    EXPECT_EQ(OrmoHost::Alive().ToString(), "");
    OrmoHost::Reset();
  }

  int Load(const std::string& graph, RunMode mode = RunMode::DEFAULT) {
    ModelInfo model;
    model.modelData.data = const_cast<char*>(graph.data());
    model.modelData.size = graph.size();
    model.runMode = mode;
    const int status = ModelManager::LoadModel(model, manager_.GetSocVersion());
    info_.modelId = model.modelId;
    return status;
  }

  void Unload() {
    if (info_.modelId != 0) {
      ModelManager::UnloadModel(info_.modelId);
      info_.modelId = 0;
    }
  }

  void BecomeChip(const std::string& chip) {
    manager_.Finalize();
    OrmoHost::SetSocName(chip);
    ASSERT_EQ(manager_.Init(0), STATUS_SUCCESS);
  }

  /// The calls since RecordCalls, without what all names begin with.
  static std::string Calls() {
    std::string calls;
    for (const OrmoHost::Call& call : OrmoHost::Calls()) {
      const size_t start = call.function.find_first_not_of("abcdefghijklmnopqrstuvwxyz");
      calls += call.function.substr(start) + call.arguments + ", ";
    }
    return calls;
  }

  static std::string Messages(const LogCapture& log, int level) {
    std::string messages;
    for (const std::string& message : log.Messages(level)) {
      messages += message + "|";
    }
    return messages;
  }

  RunManager manager_;
  RunInfo info_;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_MODEL_MODEL_TEST_H
