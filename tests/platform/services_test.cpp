// The log and the functions that watch over the sizes of buffers.
#include <cstdlib>

#include "dlog/dlog.h"
#include "faults/failing_allocation.h"
#include "ormo_host/control.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

TEST(LogTest, LinesGoToTheFileThatTheEnvironmentNames) {
  const TempDirectory directory;
  // NOLINTBEGIN(concurrency-mt-unsafe): no other thread asks for it
  setenv("ORMO_HOST_LOG", (directory / "log").c_str(), 1);
  setenv("ORMO_HOST_LOG_LEVEL", "warning", 1);
  // NOLINTEND(concurrency-mt-unsafe)
  OrmoHost::Reset();
  EXPECT_EQ(CheckLogLevel(60, DLOG_INFO), 0);
  DlogInner(60, DLOG_WARN, "[%s:%d][%s][Tid:%d] device %u", "a.cpp", 1, "TAG", 2, 3U);
  EXPECT_THAT(ReadFile(directory / "log"), HasSubstr(" warning [a.cpp:1][TAG][Tid:2] device 3\n"));
  unsetenv("ORMO_HOST_LOG");  // NOLINT(concurrency-mt-unsafe)
  OrmoHost::Reset();
}

TEST(LogTest, ALineThatFindsNoMemoryIsLost) {
  OrmoHost::CaptureLog(DLOG_DEBUG);
  const std::string text(100, 'x');
  int64_t lines = 0;
  for (bool isLost = true; isLost; ++lines) {
    const FailingAllocation failing(lines + 1, 1, true);
    EXPECT_NO_THROW(
        DlogInner(60, DLOG_WARN, "[%s:%d][%s][Tid:%d] %s", "a.cpp", 1, "TAG", 2, text.c_str()));
    isLost = failing.HasFailed();
  }
  EXPECT_GT(lines, 3);
  const std::vector<OrmoHost::LogLine> kept = OrmoHost::CapturedLog();
  OrmoHost::Reset();
  ASSERT_EQ(kept.size(), 1U);
  EXPECT_EQ(kept[0].message, text);
}

}  // namespace
}  // namespace Ormo::Testing
