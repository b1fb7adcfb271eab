// The log and the functions that watch over the sizes of buffers.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <regex>
#include <thread>

#include "dlog/dlog.h"
#include "error_manager/error_manager.h"
#include "faults/failing_allocation.h"
#include "ormo_host/control.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

// What goes into the log and the file that the environment names at a level.
std::string LogOf(const char* file, const char* level) {
  // NOLINTBEGIN(concurrency-mt-unsafe): no other thread asks for it
  setenv("ORMO_HOST_LOG", file, 1);
  setenv("ORMO_HOST_LOG_LEVEL", level, 1);
  OrmoHost::Reset();
  std::string enabled;
  for (const int each : {DLOG_DEBUG, DLOG_INFO, DLOG_WARN, DLOG_ERROR, DLOG_EVENT}) {
    enabled += std::to_string(CheckLogLevel(60, each));
    DlogInner(60, each, "[%s:%d][%s][Tid:%d] device %u", "d/a.cpp", 1, "TAG", 2, 3U);
  }
  unsetenv("ORMO_HOST_LOG");
  // NOLINTEND(concurrency-mt-unsafe)
  OrmoHost::Reset();
  return enabled;
}

TEST(LogTest, LinesGoToTheFileThatTheEnvironmentNames) {
  const TempDirectory directory;
  const std::string file = directory / "log";
  const auto before = OpenDescriptors();
  EXPECT_EQ(LogOf("", "debug"), "00000");
  EXPECT_EQ(LogOf(file.c_str(), "warning"), "00111");
  EXPECT_EQ(LogOf(file.c_str(), "loud"), "00011");
  EXPECT_EQ(LogOf(directory.Path().c_str(), "debug"), "00000");
  EXPECT_EQ(OpenDescriptors(), before);
  const std::string stamps = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}\\.[0-9]{6} ";
  EXPECT_EQ(std::regex_replace(ReadFile(file), std::regex(stamps), ""),
            "warning [d/a.cpp:1][TAG][Tid:2] device 3\nerror [d/a.cpp:1][TAG][Tid:2] device 3\n"
            "event [d/a.cpp:1][TAG][Tid:2] device 3\nerror [d/a.cpp:1][TAG][Tid:2] device 3\n"
            "event [d/a.cpp:1][TAG][Tid:2] device 3\n");
}

TEST(ErrorManagerTest, MessagesBelongToTheirWorkStream) {
  OrmoHost::Reset();
  ErrorManager& manager = ErrorManager::GetInstance();
  const TempDirectory directory;
  EXPECT_EQ(manager.Init(), 0);
  EXPECT_EQ(manager.Init(directory.Path()), 0);
  EXPECT_EQ(manager.Init(directory / "missing"), -1);
  const uint64_t stream = manager.GenWorkStreamIdDefault();
  EXPECT_EQ(manager.GetErrorManagerContext().workStreamId, stream);
  manager.ReportErrMessage("E1", {{"reason", "a"}});
  manager.ReportErrMessage("W1", {{"reason", "b"}, {"size", "3"}});
  manager.ReportErrMessage("E2", {{"size", "4"}});
  manager.ReportInterErrMessage("E3", "c");
  std::thread([&] {
    EXPECT_EQ(manager.GetErrorManagerContext().workStreamId, 0U);
    EXPECT_EQ(manager.GetErrorMessage(), "");
    EXPECT_EQ(manager.GenWorkStreamIdDefault(), stream + 1);
    manager.SetErrorContext({stream, "", "", ""});
    EXPECT_EQ(manager.GetWarningMessage(), "W1: reason: b, size: 3");
    manager.ReportErrMessage("W2", {});
  }).join();
  const std::string file = directory / "out";
  const int output = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  EXPECT_EQ(manager.OutputErrMessage(output), 0);
  manager.ReportInterErrMessage("E4", "d");
  EXPECT_EQ(manager.OutputMessage(output), 0);
  EXPECT_EQ(manager.OutputErrMessage(output), 0);
  close(output);
  EXPECT_EQ(ReadFile(file), "E1: a\nE2: size: 4\nE3: c\nE4: d\nW2:\n");
  manager.ReportInterErrMessage("W5", "e");
  EXPECT_EQ(manager.OutputMessage(output), -1);
  for (int i = 0; i < 1025; ++i) {
    manager.ReportInterErrMessage("E6", "f" + std::to_string(i));
  }
  const std::string kept = manager.GetErrorMessage();
  EXPECT_EQ(kept.substr(0, 12) + std::to_string(std::count(kept.begin(), kept.end(), '\n')),
            "E6: f1\nE6: f1023");
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
