/// \file
/// A thread that is ready for operators.
#ifndef ORMO_TESTS_SINGLE_OP_PLATFORM_CONTEXT_H
#define ORMO_TESTS_SINGLE_OP_PLATFORM_CONTEXT_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ormo_host/control.h"
#include "zel/zel.h"

namespace Ormo::Testing {

/// The calls since RecordCalls to functions whose names begin so, each with what it was given.
inline std::vector<std::string> CallsTo(const std::string& prefix) {
  std::vector<std::string> texts;
  for (const OrmoHost::Call& call : OrmoHost::Calls()) {
    if (call.function.rfind(prefix, 0) == 0) {
      texts.push_back(call.function + call.arguments);
    }
  }
  return texts;
}

/// A fresh machine, with a context of device 0 that is current on the test's thread. What a test
/// leaves behind on the platform fails it.
class PlatformContext : public ::testing::Test {
 protected:
  void SetUp() override {
    OrmoHost::Reset();
    ASSERT_EQ(zelInit(""), 0);
    ASSERT_EQ(zelrtSetDevice(0), 0);
    ASSERT_EQ(zelrtCreateContext(&context_, 0), 0);
    atStart_ = OrmoHost::Alive().ToString();
  }

  void TearDown() override {
    EXPECT_EQ(Left(), "");
    zelrtDestroyContext(context_);
    zelrtResetDevice(0);
    zelFinalize();
    OrmoHost::Reset();
  }

  zelrtContext Context() const { return context_; }

  /// What is alive on the platform besides the device and its context.
  std::string Left() const {
    const std::string now = OrmoHost::Alive().ToString();
    return now == atStart_ ? "" : now;
  }

 private:
  zelrtContext context_ = nullptr;
  std::string atStart_;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SINGLE_OP_PLATFORM_CONTEXT_H
