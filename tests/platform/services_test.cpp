// Log, errors and the layer over the operating system.
#include <fcntl.h>

#include <thread>

#include "annex_k/annex_k.h"
#include "error_manager/error_manager.h"
#include "mm/mm.h"
#include "platform/platform_test.h"
#include "support/log_capture.h"
#include "support/temp_directory.h"

namespace Ormo {
namespace {

using Test::LogCapture;
using Test::ReadFile;
using Test::TempDirectory;

constexpr char LINE[] = "[%s:%d][%s][Tid:%d] device %u";

TEST(LogTest, ALineIsTakenApart) {
  LogCapture log(DLOG_INFO);
  EXPECT_EQ(CheckLogLevel(60, DLOG_DEBUG), 0);
  EXPECT_EQ(CheckLogLevel(60, DLOG_INFO), 1);
  EXPECT_EQ(CheckLogLevel(60, DLOG_EVENT), 1);
  DlogInner(60, DLOG_DEBUG, LINE, "a.cpp", 1, "TAG", 2, 3U);
  DlogInner(60, DLOG_EVENT, LINE, "dir/a.cpp", 1, "TAG", 2, 3U);
  DlogInner(60, DLOG_ERROR, "no prefix");
  std::vector<OrmoHost::LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].level, DLOG_EVENT);
  EXPECT_EQ(lines[0].file + " " + lines[0].tag + " " + lines[0].message, "a.cpp TAG device 3");
  EXPECT_EQ(lines[0].text, "[dir/a.cpp:1][TAG][Tid:2] device 3");
  EXPECT_EQ(lines[0].line * 10 + lines[0].thread, 12);
  EXPECT_EQ(lines[1].file + lines[1].message, "no prefix");
}

TEST(LogTest, LinesGoToTheFileThatTheEnvironmentNames) {
  TempDirectory directory;
  EXPECT_EQ(CheckLogLevel(60, DLOG_ERROR), 0);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
  setenv("ORMO_HOST_LOG", (directory / "log").c_str(), 1);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
  setenv("ORMO_HOST_LOG_LEVEL", "warning", 1);
  OrmoHost::Reset();
  EXPECT_EQ(CheckLogLevel(60, DLOG_INFO), 0);
  DlogInner(60, DLOG_WARN, LINE, "a.cpp", 1, "TAG", 2, 3U);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
  unsetenv("ORMO_HOST_LOG");
  OrmoHost::Reset();
  EXPECT_EQ(CheckLogLevel(60, DLOG_ERROR), 0);
  EXPECT_NE(ReadFile(directory / "log").find(" warning [a.cpp:1][TAG][Tid:2] device 3\n"),
            std::string::npos);
}

TEST(ErrorManagerTest, MessagesBelongToTheWorkStreamOfTheirThread) {
  ErrorManager& manager = ErrorManager::GetInstance();
  uint64_t stream = manager.GenWorkStreamIdDefault();
  error_message::Context context = manager.GetErrorManagerContext();
  EXPECT_EQ(context.workStreamId, stream);
  std::thread([&] {
    EXPECT_NE(manager.GenWorkStreamIdDefault(), stream);
    manager.ReportErrMessage("EG0013", {{"reason", "of another stream"}});
    manager.SetErrorContext(context);
    manager.ReportErrMessage("EG0013", {{"reason", "of this stream"}});
  }).join();
  manager.ReportInterErrMessage("E1", "inner");
  manager.ReportErrMessage("W1", {{"a", "1"}, {"b", "2"}});
  EXPECT_EQ(manager.GetErrorMessage(), "EG0013: of this stream\nE1: inner");
  EXPECT_EQ(manager.GetErrorMessage(), "");
  EXPECT_EQ(manager.GetWarningMessage(), "W1: a: 1, b: 2");
}

TEST(MmTest, DescriptorsAreClosedOnExec) {
  int descriptor = mmOpen2("/dev/null", O_RDONLY, 0);
  EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(mmClose(descriptor), 0);
  EXPECT_EQ(mmOpen2("/nowhere/at/all", O_RDONLY, 0), -1);
  EXPECT_EQ(mmGetErrorCode(), ENOENT);
}

TEST(MmTest, TextsThatDoNotFitAreRefused) {
  char text[8];
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
  setenv("ORMO_TEST_VARIABLE", "1234567", 1);
  EXPECT_EQ(mmGetEnv("ORMO_TEST_VARIABLE", text, 8), 0);
  EXPECT_STREQ(text, "1234567");
  EXPECT_NE(mmGetEnv("ORMO_TEST_VARIABLE", text, 7), 0);
  EXPECT_EQ(snprintf_s(text, 8, 7, "%d", 1234567), 7);
  EXPECT_LT(snprintf_s(text, 8, 7, "%d", 12345678), 0);
  EXPECT_LT(snprintf_s(text, 8, 9, "%d", 12345678), 0);
  EXPECT_NE(memset_s(text, 8, 0, 9), 0);
  EXPECT_NE(memcpy_s(text, 8, "123456789", 9), 0);
  EXPECT_NE(mmSetCurrentThreadName("a name of 16 chr"), 0);
}

}  // namespace
}  // namespace Ormo
