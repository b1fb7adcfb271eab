// Tasks of the caller's own, and what is left when one goes wrong.
#include <fcntl.h>

#include <cstdlib>
#include <future>
#include <stdexcept>
#include <string>
#include <utility>

#include "ormo/ormo_error_manager.h"
#include "support/graph_text.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/offline_test.h"
#include "support/open_descriptors.h"

namespace Ormo::Testing {
namespace {

bool IsOpen(int fd) {
  return fcntl(fd, F_GETFD) != -1;
}

class OwnTaskTest : public OfflineTest {
 protected:
  int Run(OfflineTask task, bool prof, uint32_t deviceId = ANY_DEVICE_ID) {
    config_.prof = prof;
    info_.deviceId = deviceId;
    return OrmoOfflineRunProcess(config_, info_, result_, task);
  }

  RunnerConfig config_;
  RunInfo info_;
  RunnerResult result_;
};

TEST_F(OwnTaskTest, RunsOnItsDeviceUnderTheCallersErrorContextAndGivesTheResult) {
  Init({0, 1});
  const uint64_t stream = OrmoErrorManager::GetInstance().OrmoGenWorkStreamIdDefault();
  for (const auto& [prof, wanted] : {std::pair(false, 0U), {false, 1U}, {true, 0U}}) {
    int fd = -1;
    const auto task = [&, isProfiled = prof, id = wanted](RunnerConfig& config, RunInfo& info,
                                                          const error_message::Context& context,
                                                          uint32_t deviceId) {
      EXPECT_EQ(&config, &config_);
      EXPECT_EQ(&info, &info_);
      EXPECT_EQ(context.workStreamId, stream);
      EXPECT_EQ(deviceId, id);
      EXPECT_EQ(info.profFd != nullptr && IsOpen(fd = *info.profFd), isProfiled);
      info.runCostTime = 17;
      return 0;
    };
    EXPECT_EQ(Run(task, prof, wanted), STATUS_SUCCESS);
    EXPECT_EQ(info_.profFd, nullptr);
    EXPECT_FALSE(IsOpen(fd));
    EXPECT_EQ(result_.runCostTime, 17U);
    EXPECT_EQ(result_.totalCostTime, prof ? 0U : 17U);
    EXPECT_EQ(Run(task, prof, 2), STATUS_FAILED) << "a device without a worker";
    EXPECT_EQ(info_.profFd, nullptr);
  }
}

TEST_F(OwnTaskTest, ItsStatusAndItsExceptionReachTheCaller) {
  Init();
  for (const char* ending : {"", "close"}) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("ORMO_PROF_END", ending, 1);
    for (const bool prof : {false, true}) {
      const auto descriptors = OpenDescriptors();
      const auto fail = [](auto&, RunInfo& info, auto&, auto) {
        info.runCostTime = 17;
        return 815;
      };
      result_ = MakeStaleResult();
      EXPECT_EQ(Run(fail, prof), 815);
      ExpectReset(result_);
      result_ = MakeStaleResult();
      EXPECT_THROW(Run([](auto&, auto&, auto&, auto) -> int { throw std::domain_error(""); }, prof),
                   std::domain_error);
      // Also the very exception that a call would see whose task is dropped.
      EXPECT_THROW(Run(
                       [](auto&, auto&, auto&, auto) -> int {
                         std::future<int> broken = std::promise<int>().get_future();
                         return broken.get();
                       },
                       prof),
                   std::future_error);
      ExpectReset(result_);
      EXPECT_EQ(info_.profFd, nullptr);
      EXPECT_EQ(OpenDescriptors(), descriptors);
    }
  }
}

TEST_F(OwnTaskTest, WhatItCallsOnItsWorkerIsRefused) {
  Init();
  ASSERT_EQ(OrmoOnlineRunnerInit({{0}}), STATUS_SUCCESS);
  ASSERT_EQ(OrmoZelnnRunnerInit({{0}}), STATUS_SUCCESS);
  const std::string graph = AddGraph(1, 1);
  uint32_t model = Load(graph);
  const LogCapture log(DLOG_ERROR);
  const auto task = [&](auto&, RunInfo& info, auto&, auto) {
    RunnerConfig config = MakeConfig(graph, false);
    RunnerResult result;
    std::vector<RunnerRunResult> results;
    OfflineTask inner = [](auto&, auto&, auto&, auto) { return 0; };
    uint32_t loaded = 0;
    OrmoOfflineUnloadModel(model);
    OrmoOfflineRunnerFinalize();
    OrmoOnlineRunnerFinalize();
    OrmoZelnnRunnerFinalize();
    info.runCostTime = 17;
    return OrmoOfflineLoadFromMem(config.modelData, loaded) +
                       OrmoOfflineRunModel(model, config, result) + OrmoOfflineRun(config, result) +
                       OrmoOfflineRunProcess(config, info, result, inner) +
                       OrmoOnlineRun(ox::Graph(), config, results) +
                       OrmoZelnnRun(ZelnnRunConfig(), result) + OrmoOfflineRunnerInit({{0}}) +
                       OrmoOnlineRunnerInit({{0}}) + OrmoZelnnRunnerInit({{0}}) ==
                   9 * STATUS_FAILED
               ? 0
               : 1;
  };
  EXPECT_EQ(Run(task, false), STATUS_SUCCESS);
  EXPECT_EQ(result_.totalCostTime, 17U);
  EXPECT_EQ(log.Count(DLOG_ERROR, "from a device's worker would wait for itself"), 13U);
  RunnerConfig config = MakeConfig(graph, true);
  EXPECT_EQ(OrmoOfflineRunModel(model, config, result_), STATUS_SUCCESS);
  OrmoOfflineUnloadModel(model);
  OrmoZelnnRunnerFinalize();
  OrmoOnlineRunnerFinalize();
}

}  // namespace
}  // namespace Ormo::Testing
