/// \file
/// What tests of all runners' entry points share.
#ifndef ORMO_TESTS_SUPPORT_RUNNER_TEST_H
#define ORMO_TESTS_SUPPORT_RUNNER_TEST_H

#include "ormo/ormo_runner.h"
#include "ormo_host/control.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {

/// A result that no measurement gives.
inline RunnerResult MakeStaleResult() {
  return {1, 2, {{"stale", 3}}, {{"stale", 4}}};
}

/// Nothing of it is left.
inline void ExpectReset(const RunnerResult& result) {
  EXPECT_EQ(result.totalCostTime, 0U);
  EXPECT_EQ(result.runCostTime, 0U);
  EXPECT_TRUE(result.opCostTimes.empty());
  EXPECT_TRUE(result.aicoreCostTimes.empty());
}

/// A fresh machine, with the library's files in a directory of the test's own. A profiled run ends
/// with its pipe. What a test leaves behind on the platform fails it.
class RunnerTest : public ::testing::Test {
 protected:
  void SetUp() override { OrmoHost::Reset(); }

  void TearDown() override {
    Finalize();
    EXPECT_EQ(OrmoHost::Alive().ToString(), "");
    OrmoHost::Reset();
  }

  /// Finalises the runner, whatever state it is in.
  virtual void Finalize() = 0;

  HomeDirectory directory_;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_RUNNER_TEST_H
