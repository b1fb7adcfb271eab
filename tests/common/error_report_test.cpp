// Log lines, errors for the user, and statuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "common/invalid_param.h"
#include "common/log.h"
#include "common/status_translation.h"
#include "ormo/ormo_error_manager.h"
#include "support/log_capture.h"
#include "support/temp_directory.h"

namespace Ormo {
namespace {

using Test::LogCapture;
using Test::LogLine;
using Test::TempDirectory;
using Test::WriteFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(LogTest, CarriesOwnerTagAndThread) {
  const LogCapture log(DLOG_INFO);
  ORMO_LOG_INFO("Set device %u", 3U);
  ASSERT_EQ(log.Lines().size(), 1U);
  const LogLine line = log.Lines().front();
  EXPECT_EQ(line.module, 60);
  EXPECT_EQ(line.level, DLOG_INFO);
  EXPECT_EQ(line.text, "[error_report_test.cpp:" + std::to_string(line.line) +
                           "][ORMO][Tid:" + std::to_string(gettid()) + "] Set device 3");
}

TEST(LogTest, CostsOneQuestionWhenTheLevelIsOff) {
  const LogCapture log(DLOG_ERROR);
  int evaluated = 0;
  OrmoHost::RecordCalls();
  ORMO_LOG_INFO("Set device %d", ++evaluated);
  EXPECT_EQ(OrmoHost::CallCount("CheckLogLevel"), 1U);
  EXPECT_EQ(OrmoHost::CallCount("mmGetTid"), 0U);
  EXPECT_EQ(OrmoHost::CallCount("DlogInner"), 0U);
  EXPECT_EQ(evaluated, 0);
}

TEST(LogTest, IsOnlyOnWhenTheServiceAnswersExactlyOne) {
  const LogCapture log(DLOG_DEBUG);
  OrmoHost::Fail("CheckLogLevel", 1, 2);
  ORMO_LOG_ERROR("refused");
  ORMO_LOG_ERROR("wanted");
  EXPECT_THAT(log.Messages(), ElementsAre("wanted"));
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

TEST(ErrorManagerTest, BringsAWorkersErrorToTheCallersWorkStream) {
  const OrmoErrorManager& manager = OrmoErrorManager::GetInstance();
  manager.OrmoGenWorkStreamIdDefault();
  const LogCapture log(DLOG_ERROR);
  std::thread worker([&manager, context = manager.OrmoGetErrorContext()] {
    manager.OrmoGenWorkStreamIdDefault();
    ReportNoAvailableDevice();
    manager.OrmoSetErrorContext(context);
    ReportMissingDevice(7);
  });
  worker.join();

  const std::string message = manager.OrmoGetErrorMessage();
  EXPECT_THAT(message, HasSubstr("EG0013"));
  EXPECT_THAT(message, HasSubstr("Device [7] does not exist"));
  EXPECT_EQ(message.find("No available device"), std::string::npos) << message;
  EXPECT_THAT(log.Messages(),
              ElementsAre("Invalid param: No available device. Please check the device status",
                          "Invalid param: Device [7] does not exist"));
  EXPECT_EQ(log.Find("Device [7]").file, "error_report_test.cpp");
}

TEST(StatusTranslationTest, KeepsAllocationFailuresApart) {
  EXPECT_EQ(TranslateStatus(207001, STATUS_DEVICE_MEMORY_FAILED), STATUS_MEMORY_ALLOCATION_FAILED);
  EXPECT_EQ(TranslateStatus(245000, STATUS_EXECUTE_FAILED), STATUS_MEMORY_ALLOCATION_FAILED);
  EXPECT_EQ(TranslateStatus(507008, STATUS_EXECUTE_FAILED), STATUS_EXECUTE_FAILED);
  EXPECT_EQ(TranslateStatus(-1), STATUS_PLATFORM_FAILED);
}

}  // namespace
}  // namespace Ormo
