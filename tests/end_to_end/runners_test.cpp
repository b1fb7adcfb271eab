// Offline, online and single-operator runners in one process: they share its devices and workers.
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <stdexcept>
#include <tuple>

#include "ormo/ormo_error_manager.h"
#include "support/graph_text.h"
#include "support/log_capture.h"
#include "support/offline_test.h"
#include "support/online_test.h"
#include "support/open_descriptors.h"
#include "support/zelnn_test.h"

namespace Ormo::Testing {
namespace {

struct Runner {
  const char* file;
  std::function<int(const RunnerInitConfig&)> init;
  std::function<int()> measure;
  std::function<void()> finalize;
  // Lines of a second initialisation and finalisation, and of a measurement after them.
  std::vector<std::string> refusals;
};

class RunnersTest : public OnlineTest {
 protected:
  void Finalize() override {
    for (const Runner& runner : runners_) {
      runner.finalize();
    }
    session_.reset();
    // A platform that is finalised under another runner takes that one's context along.
    OrmoHost::AliveObjects alive = OrmoHost::Alive();
    alive.abandoned = 0;
    EXPECT_EQ(alive.ToString(), "");
    OrmoHost::Reset();
  }

  // Every runner measures: those in `working` succeed, the others end with STATUS_FAILED.
  void MeasureAll(const std::set<size_t>& working) const {
    for (size_t i = 0; i < runners_.size(); ++i) {
      EXPECT_EQ(runners_[i].measure(), working.count(i) == 0 ? STATUS_FAILED : STATUS_SUCCESS)
          << runners_[i].file;
    }
  }

  // Calls `action` with every order of the runners.
  template <typename Action>
  static void ForEachOrder(Action action) {
    std::array<size_t, 3> order = {0, 1, 2};
    do {
      SCOPED_TRACE(::testing::PrintToString(order));
      action(order);
    } while (std::next_permutation(order.begin(), order.end()));
  }

  const std::string text_ = AddGraph(4, 1);
  const std::vector<Runner> runners_ = {
      {"offline_runner.cpp",
       OrmoOfflineRunnerInit,
       [this] {
         RunnerConfig config = Ormo::Testing::MakeConfig(text_, true);
         RunnerResult result;
         return OrmoOfflineRun(config, result);
       },
       OrmoOfflineRunnerFinalize,
       {"Runner is already initialized", "Offline runner has not been initialized",
        "Offline runner has not been initialized"}},
      {"online_runner.cpp",
       OrmoOnlineRunnerInit,
       [this] {
         RunnerConfig config = MakeConfig();
         std::vector<RunnerRunResult> results;
         return OrmoOnlineRun(LoadGraph(text_), config, results);
       },
       OrmoOnlineRunnerFinalize,
       {"Online runner already initailzed",
        "Online runner has not been initailzed, no need to finalize",
        "Online runner has not been initialized"}},
      {"zelnn_runner.cpp",
       OrmoZelnnRunnerInit,
       [] {
         RunnerResult result;
         return OrmoZelnnRun(MakeOpConfig(AttentionRequest()), result);
       },
       OrmoZelnnRunnerFinalize,
       {"Runner is already initialized", "ZelnnRunner runner has not been initialized",
        "ZelnnRunner runner has not been initialized"}},
  };
};

TEST_F(RunnersTest, InEveryOrderTheFirstToBeFinalisedEndsTheWorkersOfAll) {
  ForEachOrder([this](const auto& initOrder) {
    ForEachOrder([&](const auto& finalizeOrder) {
      const auto descriptors = OpenDescriptors();
      std::set<size_t> initialised;
      for (const size_t i : initOrder) {
        EXPECT_EQ(runners_[i].init({{0}}), STATUS_SUCCESS);
        initialised.insert(i);
        MeasureAll(initialised);
      }
      for (const size_t i : finalizeOrder) {
        runners_[i].finalize();
        LogCapture log(DLOG_ERROR);
        MeasureAll({});
        for (const Runner& runner : runners_) {
          EXPECT_THAT(log.Lines(), Contains(Field(&LogLine::file, std::string(runner.file))));
        }
      }
      EXPECT_EQ(OpenDescriptors(), descriptors);
    });
  });
}

// Those that were not initialised again may hold contexts of a platform that was finalised.
TEST_F(RunnersTest, OneThatIsInitialisedAgainWorksBesideThoseThatWereNot) {
  ForEachOrder([this](const auto& order) {
    for (const Runner& runner : runners_) {
      for (const size_t i : order) {
        EXPECT_EQ(runners_[i].init({{0}}), STATUS_SUCCESS);
      }
      MeasureAll({0, 1, 2});
      runner.finalize();
      EXPECT_EQ(runner.init({{0}}), STATUS_SUCCESS);
      EXPECT_EQ(runner.measure(), STATUS_SUCCESS) << runner.file;
      if (runner.file == std::string("online_runner.cpp")) {  // which never finalises the platform
        MeasureAll({0, 1, 2});
      }
      for (const size_t i : order) {
        for (const Runner& measured : runners_) {
          const int status = measured.measure();
          EXPECT_TRUE(status == STATUS_SUCCESS || status == STATUS_FAILED) << status;
        }
        runners_[i].finalize();
      }
    }
  });
}

// A worker names itself whenever it comes to it.
size_t CountOwnCalls() {
  const std::vector<OrmoHost::Call> calls = OrmoHost::Calls();
  return static_cast<size_t>(std::count_if(
      calls.begin(), calls.end(), [](const auto& call) { return call.thread == gettid(); }));
}

TEST_F(RunnersTest, ASecondInitialisationAndASecondFinalisationOnlySaySo) {
  for (const Runner& runner : runners_) {
    SCOPED_TRACE(runner.file);
    ASSERT_EQ(runner.init({{0}}), STATUS_SUCCESS);
    ASSERT_EQ(runner.measure(), STATUS_SUCCESS);  // by now the worker has named itself
    OrmoHost::RecordCalls();
    LogCapture log(DLOG_INFO);
    EXPECT_EQ(runner.init({{5}}), STATUS_SUCCESS);
    std::vector<std::string> lines = log.Messages();
    EXPECT_EQ(CountOwnCalls(), 0U);
    EXPECT_EQ(runner.measure(), STATUS_SUCCESS);
    runner.finalize();
    OrmoHost::RecordCalls();
    log.Clear();
    runner.finalize();
    EXPECT_EQ(CountOwnCalls(), 0U);
    lines.push_back(log.Messages().at(0));
    EXPECT_EQ(runner.measure(), STATUS_FAILED);
    lines.push_back(log.Messages().back());
    EXPECT_EQ(lines, runner.refusals);
  }
}

TEST_F(RunnersTest, DevicesThatDoNotExistAreReportedAndAnotherTryWorks) {
  const std::string missing = "Device [5] does not exist";
  const std::string none = "No available device. Please check the device status";
  // The runner, the devices that there are, those asked for, and the line.
  const std::tuple<size_t, uint32_t, std::vector<uint32_t>, std::string> cases[] = {
      {0, 2, {0, 5}, missing}, {0, 0, {}, none}, {1, 2, {}, "Init device manager failed"},
      {2, 2, {0, 5}, missing}, {2, 0, {}, none},
  };
  for (const auto& [i, count, requested, line] : cases) {
    OrmoHost::SetDeviceCount(count);
    OrmoErrorManager::GetInstance().OrmoGenWorkStreamIdDefault();
    const LogCapture log(DLOG_ERROR);
    OrmoHost::RecordCalls();
    EXPECT_EQ(runners_[i].init({requested}), STATUS_FAILED);
    EXPECT_EQ(OrmoHost::CallCount("zelFinalize"), i == 1 ? 0U : 1U);
    EXPECT_EQ(log.Find(line).file, runners_[i].file) << line;
    EXPECT_THAT(OrmoErrorManager::GetInstance().OrmoGetErrorMessage(),
                AllOf(HasSubstr("EG0013"), HasSubstr(i == 1 ? "" : line)));
  }
  OrmoHost::SetDeviceCount(1);
  for (const Runner& runner : runners_) {
    EXPECT_EQ(runner.init({{0}}), STATUS_SUCCESS);
  }
  MeasureAll({0, 1, 2});
}

TEST_F(RunnersTest, AWorkerOfADeviceThatARunnerDidNotAskForIsRefused) {
  const std::array<const Runner*, 2> checked = {&runners_[0], &runners_[2]};
  for (const Runner* runner : checked) {
    OrmoHost::Throw("mmRealPath", 1);  // of the lock files' directory
    EXPECT_THROW(runner->init({{0}}), std::runtime_error) << "asked for in vain";
  }
  ASSERT_EQ(OrmoOnlineRunnerInit({{0}}), STATUS_SUCCESS);
  for (const Runner* runner : checked) {
    ASSERT_EQ(runner->init({{1}}), STATUS_SUCCESS);
    LogCapture log(DLOG_ERROR);
    EXPECT_EQ(runner->measure(), STATUS_FAILED);
    EXPECT_TRUE(log.Contains(DLOG_ERROR, "Device [0] does not exist"));
  }
}

}  // namespace
}  // namespace Ormo::Testing
