#include "online/online_manager.h"

#include <gtest/gtest.h>

#include "ormo/status.h"
#include "support/log_capture.h"

namespace Ormo {
namespace {

using Test::LogCapture;

TEST(OnlineManager, RefusesWhatCannotBeSubscribedWithALineOfItsOwn) {
  LogCapture log(DLOG_ERROR);
  int32_t fd = 1;
  OnlineManager withoutConfig(&fd, 7);
  EXPECT_EQ(withoutConfig.Start(), STATUS_FAILED);
  OnlineManager withoutGraph(&fd, 0xFFFFFFFF);
  EXPECT_EQ(withoutGraph.Start(), STATUS_FAILED);
  OnlineManager ofUnknownGraph(&fd, 7);
  ASSERT_EQ(ofUnknownGraph.CreateConfig(), STATUS_SUCCESS);
  EXPECT_EQ(ofUnknownGraph.Start(), STATUS_FAILED);
  EXPECT_EQ(ofUnknownGraph.Stop(), STATUS_FAILED);
  EXPECT_EQ(ofUnknownGraph.DestroyConfig(), STATUS_SUCCESS);

  const auto lines = log.Lines();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0].message, "Invalid ptr parameter [profConfig_.zelSubscribeConfig](nullptr).");
  EXPECT_EQ(lines[1].message, "Invalid model id 0");
  EXPECT_EQ(lines[2].message.rfind("Zel profiling subscribe failed with ret ", 0), 0U);
  EXPECT_EQ(lines[3].message.rfind("Zel profiling unsubscribe failed with ret ", 0), 0U);
  for (const auto& line : lines) {
    EXPECT_EQ(line.file, "online_manager.cpp");
  }
}

}  // namespace
}  // namespace Ormo
