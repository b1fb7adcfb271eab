#include "single_op/zelnn_run_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/file_descriptor.h"
#include "ormo/status.h"
#include "ormo_host/control.h"
#include "single_op/request_text.h"
#include "single_op/zelnn_prof_manager.h"
#include "support/log_capture.h"

namespace Ormo {
namespace {

using OrmoHost::CallCount;
using Test::AttentionRequest;
using Test::LogCapture;
using Test::Request;
using ::testing::ElementsAre;

constexpr char EXECUTION[] = "zelnnFlashAttentionScore";

class ZelnnRunManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    OrmoHost::Reset();
    ASSERT_EQ(zelInit(""), 0);
    info_.profFd = pipe_.writeEnd.Address();
  }

  void TearDown() override {
    zelFinalize();
    EXPECT_EQ(OrmoHost::Alive().ToString(), "");
    OrmoHost::Reset();
  }

  // One measurement of a manager of its own; `call` fails then.
  int Process(const char* call = nullptr, uint64_t nth = 1) {
    ZelnnRunManager manager;
    EXPECT_EQ(manager.Init(0), STATUS_SUCCESS);
    OrmoHost::RecordCalls();
    if (call != nullptr) {
      OrmoHost::Fail(call, nth, -7);
    }
    const int status = manager.Process(config_, info_);
    EXPECT_EQ(CallCount("ProfOpUnSubscribe"), CallCount("ProfOpSubscribe"));
    EXPECT_EQ(CallCount("zelprofDestroySubscribeConfig"),
              CallCount("zelprofCreateSubscribeConfig"));
    manager.Finalize();
    return status;
  }

  Pipe pipe_ = Pipe::Open();
  RunInfo info_;
  ZelnnRunConfig config_ = {5, AttentionRequest(), "", nullptr};
};

TEST_F(ZelnnRunManagerTest, AFullLoopExecutesUnderOneSubscription) {
  EXPECT_EQ(Process(), STATUS_SUCCESS);
  EXPECT_EQ(CallCount(EXECUTION), 5U);
  EXPECT_EQ(CallCount("ProfOpSubscribe"), 1U);
  EXPECT_GT(info_.runCostTime, 0U);
}

TEST_F(ZelnnRunManagerTest, ALoopOfNoneSubscribesAndCostsNothing) {
  config_.loop = 0;
  info_.runCostTime = 5;
  EXPECT_EQ(Process(), STATUS_SUCCESS);
  EXPECT_EQ(CallCount("ProfOpSubscribe"), 1U);
  EXPECT_EQ(CallCount("zelCreateTensor"), 0U);
  EXPECT_EQ(info_.runCostTime, 0U);
}

TEST_F(ZelnnRunManagerTest, WhatFailsEndsTheLoopWithItsLines) {
  struct Case {
    std::string request;
    const char* call;
    uint64_t executions;
    std::vector<std::string> files;
    std::vector<std::string> messages;
  };

  const std::string manager = "zelnn_manager.cpp";
  const std::string runManager = "zelnn_run_manager.cpp";
  const std::vector<Case> cases = {
      {AttentionRequest(),
       EXECUTION,
       3,
       {manager, runManager},
       {"FlashAttentionScore zelnn run failed!", "Execute zelnn failed, index = 2"}},
      {Request("", "", "", "flashattentionscore"),
       nullptr,
       0,
       {manager, runManager},
       {"Can not create flashattentionscore zelnn run object!", "Execute zelnn failed, index = 0"}},
      {"{} x",
       nullptr,
       0,
       {manager, runManager},
       {"ZelnnParamterConstructor failed!", "Execute zelnn failed, index = 0"}},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.messages[0]);
    LogCapture log(DLOG_ERROR);
    config_.opJson = test.request;
    EXPECT_EQ(Process(test.call, 3), STATUS_FAILED);
    EXPECT_EQ(CallCount(EXECUTION), test.executions);
    for (size_t i = 0; i < test.messages.size(); ++i) {
      EXPECT_EQ(log.Find(test.messages[i]).file, test.files[i]);
    }
  }
}

TEST_F(ZelnnRunManagerTest, ASubscriptionThatFailsIsToldWithItsCode) {
  LogCapture log(DLOG_ERROR);
  int32_t fd = 1;
  EXPECT_EQ(ZelnnProfManager(&fd, 0, 0).Start(), STATUS_FAILED);
  EXPECT_EQ(Process("ProfOpUnSubscribe"), STATUS_FAILED);
  OrmoHost::Fail("ProfOpSubscribe", 1, -7);
  ZelnnProfManager refused(info_.profFd, 0, 0);
  ASSERT_EQ(refused.CreateConfig(), STATUS_SUCCESS);
  EXPECT_EQ(refused.Start(), STATUS_FAILED);
  EXPECT_EQ(refused.DestroyConfig(), STATUS_SUCCESS);
  EXPECT_THAT(log.Messages(),
              ElementsAre("Invalid ptr parameter [profConfig_.zelSubscribeConfig](nullptr).",
                          "Zel profiling unsubscribe failed with ret -7",
                          "Zel profiling subscribe failed with ret -7"));
  for (const auto& line : log.Lines()) {
    EXPECT_EQ(line.file, "zelnn_prof_manager.cpp");
  }
}

TEST_F(ZelnnRunManagerTest, ADeviceThatCannotBeSetUpIsLeftAsItWas) {
  struct Case {
    const char* function;
    int32_t code;
    int status;
  };

  for (const Case& test : {Case{"zelrtSetDevice", 245000, STATUS_MEMORY_ALLOCATION_FAILED},
                           {"zelrtSetDevice", 5, STATUS_PLATFORM_FAILED},
                           {"zelrtCreateContext", 207001, STATUS_MEMORY_ALLOCATION_FAILED},
                           {"zelrtSetCurrentContext", 5, STATUS_SUCCESS}}) {
    SCOPED_TRACE(test.function);
    OrmoHost::Fail(test.function, 1, test.code);
    ZelnnRunManager manager;
    EXPECT_EQ(manager.Init(0), test.status);
    EXPECT_EQ(manager.GetSocVersion(), test.status == STATUS_SUCCESS ? "TarnLake1" : "");
    manager.Finalize();
    EXPECT_EQ(OrmoHost::Alive().ToString(), "");
  }
  EXPECT_EQ(ZelnnRunManager().Process(config_, info_), STATUS_FAILED) << "without a device";
}

}  // namespace
}  // namespace Ormo
