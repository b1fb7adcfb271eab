#include <stdexcept>
#include <tuple>

#include "online/online_manager.h"
#include "ormo/status.h"
#include "profiling/offline_manager.h"
#include "single_op/zelnn_prof_manager.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

using Strings = std::vector<std::string>;

class ScriptedManager : public ProfilingManager {
 public:
  ScriptedManager(int32_t* fd, std::string failing)
      : ProfilingManager(fd), failing_(std::move(failing)) {}

  int Do(const std::string& step) const {
    steps.push_back(step);
    if (step + " throws" == failing_) {
      throw std::domain_error(step);
    }
    return failing_.find(step) == std::string::npos ? STATUS_SUCCESS : STATUS_FAILED;
  }

  mutable Strings steps;

 protected:
  int ProfStart() override { return Do("start"); }

  int ProfStop() const override { return Do("stop"); }

 private:
  std::string failing_;
};

TEST(Subscription, WhatWasBegunIsEndedOnceWhateverFails) {
  // What fails, the work's status, the steps, and the status of it all.
  const std::tuple<const char*, int, Strings, int> cases[] = {
      {"nothing", 0, {"start", "work", "stop"}, 0},
      {"nothing", 3002, {"start", "work", "stop"}, 3002},
      {"zelprofCreateSubscribeConfig", 0, {}, STATUS_FAILED},
      {"start", 0, {"start"}, STATUS_FAILED},
      {"stop", 0, {"start", "work", "stop"}, STATUS_FAILED},
      {"stop", 3002, {"start", "work", "stop"}, 3002},
      {"zelprofDestroySubscribeConfig", 0, {"start", "work", "stop"}, 0},
      {"work throws", 0, {"start", "work", "stop"}, 1},
  };
  for (const auto& [failing, workStatus, steps, status] : cases) {
    SCOPED_TRACE(failing);
    OrmoHost::Fail(failing, 1, 99);
    int32_t fd = STDOUT_FILENO;
    ScriptedManager manager(&fd, failing);
    int result = 1;
    try {
      result = RunSubscribed(manager, [&, code = workStatus] { return manager.Do("work") + code; });
    } catch (const std::domain_error&) {
    }
    EXPECT_EQ(result, status);
    EXPECT_EQ(manager.steps, steps);
    EXPECT_TRUE(OrmoHost::Alive().Empty()) << OrmoHost::Alive().ToString();
  }
}

TEST(Subscription, WhatCannotBeSubscribedIsNotTried) {
  const LogCapture log(DLOG_ERROR);
  OrmoHost::RecordCalls();
  OfflineManager(nullptr, 1).Start();
  OnlineManager(nullptr, 0).Start();
  ZelnnProfManager(nullptr, 0, 0).Start();
  OfflineManager(nullptr, 0).Start();
  OnlineManager(nullptr, 0xFFFFFFFF).Start();
  EXPECT_EQ(OfflineManager(nullptr, 1).CreateConfig(), STATUS_FAILED);
  EXPECT_EQ(OfflineManager(nullptr, 1).DestroyConfig(), STATUS_FAILED);
  Strings lines;
  for (const LogLine& line : log.Lines()) {
    lines.push_back(line.file + " " + line.message);
  }
  const std::string noConfig = " Invalid ptr parameter [profConfig_.zelSubscribeConfig](nullptr).";
  EXPECT_THAT(lines, ElementsAre("offline_manager.cpp" + noConfig, "online_manager.cpp" + noConfig,
                                 "zelnn_prof_manager.cpp" + noConfig,
                                 "offline_manager.cpp Invalid model id 0",
                                 "online_manager.cpp Invalid model id 0",
                                 "profiling_manager.cpp Invalid parameter [profConfig_.fd](0).",
                                 "profiling_manager.cpp" + noConfig));
  EXPECT_THAT(OrmoHost::Calls(), IsEmpty());
}

}  // namespace
}  // namespace Ormo::Testing
