// Log lines and the catalogues of errors for the user.
#include <fcntl.h>
#include <unistd.h>

#include "common/file_descriptor.h"
#include "common/log.h"
#include "ormo/log_level.h"
#include "ormo/ormo_error_manager.h"
#include "ormo/status.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

static_assert(LOG_LEVEL_NAMES[3].second == LogLevel::LEVEL_ERROR &&
              static_cast<int>(LogLevel::LEVEL_ERROR) == DLOG_ERROR);

TEST(LogTest, CarriesOwnerTagAndThreadOrCostsOneQuestion) {
  const LogCapture log(DLOG_INFO);
  OrmoHost::Fail("CheckLogLevel", 1, 2);
  ORMO_LOG_INFO("refused");
  ORMO_LOG_INFO("Set device %u", 3U);
  ASSERT_EQ(log.Lines().size(), 1U);
  const LogLine line = log.Lines().front();
  EXPECT_EQ(line.module, 60);
  EXPECT_EQ(line.level, DLOG_INFO);
  EXPECT_EQ(line.text, "[error_report_test.cpp:" + std::to_string(line.line) +
                           "][ORMO][Tid:" + std::to_string(gettid()) + "] Set device 3");

  int evaluated = 0;
  OrmoHost::RecordCalls();
  ORMO_LOG_DEBUG("Set device %d", ++evaluated);
  EXPECT_EQ(OrmoHost::CallCount("CheckLogLevel"), 1U);
  EXPECT_EQ(OrmoHost::CallCount("mmGetTid") + OrmoHost::CallCount("DlogInner"), 0U);
  EXPECT_EQ(evaluated, 0);
}

TEST(ErrorManagerTest, LoadsBothCataloguesOnceAndTriesAgainAfterAFailure) {
  const LogCapture log(DLOG_INFO);
  const TempDirectory directory;
  const std::string catalogue = directory / "error_code.json";
  WriteFile(catalogue, "{}");
  OrmoErrorManager& manager = OrmoErrorManager::GetInstance();
  OrmoHost::RecordCalls();

  EXPECT_EQ(manager.OrmoInitErrorManager(directory / "missing"), STATUS_FAILED);
  EXPECT_EQ(OrmoHost::CallCount("ErrorManager::Init"), 1U);
  OrmoHost::Fail("ErrorManager::Init", 2, 5);
  EXPECT_EQ(manager.OrmoInitErrorManager(catalogue), STATUS_FAILED);
  EXPECT_EQ(manager.OrmoInitErrorManager(catalogue), STATUS_SUCCESS);
  EXPECT_EQ(OrmoHost::CallCount("ErrorManager::Init"), 5U);
  EXPECT_EQ(manager.OrmoInitErrorManager(catalogue), STATUS_SUCCESS);
  EXPECT_EQ(OrmoHost::CallCount("ErrorManager::Init"), 5U);
  EXPECT_THAT(log.Messages(), ElementsAre("Load ormo error_code failed.", "Load error_code failed.",
                                          "Ormo error_manager has been inited."));
}

TEST(ErrorManagerTest, HandsOverToThePlatformAndTellsItsRefusals) {
  const OrmoErrorManager& manager = OrmoErrorManager::GetInstance();
  const FileDescriptor sink(open("/dev/null", O_WRONLY | O_CLOEXEC));
  const std::pair<const char*, std::function<int()>> operations[] = {
      {"ReportErrMessage", [&] { return manager.OrmoReportErrorMessage("EG0013", {}); }},
      {"ReportInterErrMessage", [&] { return manager.OrmoReportInterErrorMessage("E1", "own"); }},
      {"OutputErrMessage", [&] { return manager.OrmoOutputErrorMessage(sink.Get()); }},
      {"OutputMessage", [&] { return manager.OrmoOutputMessage(sink.Get()); }},
  };
  const error_message::Context before = manager.OrmoGetErrorContext();
  EXPECT_NE(manager.OrmoGenWorkStreamIdDefault(), before.workStreamId);
  for (const auto& [function, operation] : operations) {
    EXPECT_EQ(operation(), STATUS_SUCCESS) << function;
    OrmoHost::Fail(std::string("ErrorManager::") + function, 1, 5);
    EXPECT_EQ(operation(), STATUS_FAILED) << function;
  }
  manager.OrmoReportInterErrorMessage("E2", "another");
  const error_message::Context own = manager.OrmoGetErrorContext();
  manager.OrmoSetErrorContext(before);
  EXPECT_EQ(manager.OrmoGetErrorMessage(), "");
  manager.OrmoSetErrorContext(own);
  EXPECT_THAT(manager.OrmoGetErrorMessage(), HasSubstr("another"));
  EXPECT_EQ(manager.OrmoGetWarningMessage(), "");
}

}  // namespace
}  // namespace Ormo::Testing
