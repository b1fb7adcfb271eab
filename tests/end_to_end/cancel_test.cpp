// Calls that another thread ends, wherever they are.
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <functional>
#include <future>
#include <random>
#include <regex>
#include <string>
#include <thread>

#include "support/detail_test.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"

// What a cancelled thread leaves marked on its stack is in the way of the sanitizer's own code at
// the thread's end.
const char* AddressSanitizerOptions() asm("__asan_default_options");

const char* AddressSanitizerOptions() {
  return "use_sigaltstack=0";
}

namespace Ormo::Testing {
namespace {

// More than any test waits for.
constexpr uint32_t ENDLESS = 1000000000;

// A process that holds the lock file of device 0.
class LockHolder {
 public:
  explicit LockHolder(const std::string& file) {
    std::array<int, 2> ends = {};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    child_ = fork();
    if (child_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      struct flock lock = {};
      lock.l_type = F_WRLCK;
      const int fd = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
      const char isLocked = fcntl(fd, F_SETLK, &lock) == 0 ? 'y' : 'n';
      if (write(ends[1], &isLocked, 1) == 1) {
        pause();
      }
      _exit(1);
    }
    char isLocked = 'n';
    EXPECT_EQ(read(ends[0], &isLocked, 1), 1);
    EXPECT_EQ(isLocked, 'y');
    close(ends[0]);
    close(ends[1]);
  }

  ~LockHolder() {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }

  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

 private:
  pid_t child_;
};

// Until a thread of this process waits for a lock file, by the system's list of locks.
void AwaitLockWait() {
  const std::regex waiter("-> POSIX .* " + std::to_string(getpid()) + " ");
  while (!std::regex_search(ReadFile("/proc/locks"), waiter)) {
    std::this_thread::yield();
  }
}

class CancelTest : public DetailTest {
 protected:
  CancelTest() {
    request_.deviceId = 0;
    request_.cancelToken = &token_;
  }

  // Keeps the worker of device 0 busy while `action` runs.
  void WithWorkerBusy(const std::function<void()>& action) {
    std::promise<void> isBusy;
    std::promise<void> isDone;
    std::thread other([&] {
      RunnerConfig config;
      RunnerResult result;
      RunInfo info;
      info.deviceId = 0;
      OfflineTask task = [&](auto&, auto&, auto&, auto) {
        isBusy.set_value();
        isDone.get_future().wait();
        return 0;
      };
      EXPECT_EQ(OrmoOfflineRunProcess(config, info, result, task), STATUS_SUCCESS);
    });
    isBusy.get_future().wait();
    action();
    isDone.set_value();
    other.join();
  }

  void ExpectCancelled(const std::function<int()>& run) {
    results_.clear();
    EXPECT_EQ(run(), STATUS_FAILED);
    EXPECT_TRUE(detail_.isCancelled);
    EXPECT_EQ(detail_.reason, "The call has been cancelled");
    EXPECT_THAT(results_, IsEmpty());
  }

  // Every path, by wall clock and profiled.
  const std::vector<std::function<int(uint32_t)>> runs_ = {
      [this](uint32_t loop) { return RunOffline(false, loop); },
      [this](uint32_t loop) { return RunOffline(true, loop); },
      [this](uint32_t loop) { return RunOnline(true, loop); },
      [this](uint32_t loop) { return RunOperator(loop); }};
  const std::vector<std::string> executes_ = {"zelmdlExecute", "zelmdlExecute",
                                              "Session::RunGraphAsync", "zelnnFlashAttentionScore"};
  CancelToken token_;
};

TEST_F(CancelTest, AQueuedCallIsWithdrawnWhileItsWorkerIsBusy) {
  for (const auto& run : runs_) {
    token_ = CancelToken();
    OrmoHost::RecordCalls();
    WithWorkerBusy([&] {
      std::future<void> call =
          std::async(std::launch::async, [&] { ExpectCancelled([&] { return run(1); }); });
      token_.Cancel();  // before or after it is queued
      call.wait();
    });
    EXPECT_EQ(OrmoHost::CallCount("zelmdlLoadFromMem"), 0U);
    EXPECT_EQ(detail_.executionsBegun, 0U);
    EXPECT_EQ(detail_.deviceId, ANY_DEVICE_ID);
  }
}

TEST_F(CancelTest, AWaitForTheLockIsLeft) {
  EXPECT_EQ(RunOffline(false), STATUS_SUCCESS);
  const LockHolder holder(directory_ / "ormo_data/Tarn/.ormo_dev_0.lock");
  for (const auto& run : runs_) {
    token_ = CancelToken();
    std::future<void> call =
        std::async(std::launch::async, [&] { ExpectCancelled([&] { return run(1); }); });
    AwaitLockWait();
    token_.Cancel();
    call.wait();
    EXPECT_FALSE(detail_.isLockHeld);
    EXPECT_NE(detail_.lockWaitTime, 0U);
    EXPECT_EQ(detail_.executionsBegun, 0U);
  }
}

TEST_F(CancelTest, AnExecutionUnderWayIsTheLast) {
  for (size_t i = 0; i < runs_.size(); ++i) {
    SCOPED_TRACE(i);
    token_ = CancelToken();
    OrmoHost::OnCall(executes_[i], 3, [this] { token_.Cancel(); });
    ExpectCancelled([&] { return runs_[i](ENDLESS); });
    EXPECT_EQ(detail_.executionsBegun, 3U);
    EXPECT_THAT(detail_.wallTimes, SizeIs(3));
    EXPECT_TRUE(detail_.isLockHeld);
  }
}

TEST_F(CancelTest, ACallThatIsDoneButForItsLateRecordsIsCancelled) {
  request_.profilingEnd = ProfilingEnd::BY_WAITING;
  for (size_t i = 1; i < runs_.size(); ++i) {
    token_ = CancelToken();
    // The last thing that the worker does.
    OrmoHost::OnCall("zelprofDestroySubscribeConfig", 1, [this] { token_.Cancel(); });
    ExpectCancelled([&] { return runs_[i](2); });
    EXPECT_EQ(detail_.executionsBegun, 2U);
  }
}

TEST_F(CancelTest, AReadThatIsCancelledEndsTheCallWhateverTheExecutionsCameTo) {
  request_.profilingEnd = ProfilingEnd::BY_WAITING;
  for (const bool reachesBound : {true, false}) {
    SCOPED_TRACE(reachesBound);
    token_ = CancelToken();
    const std::string graph = AddGraph(8, 1);
    RunnerConfig config = Testing::MakeConfig(graph, true, 3);
    if (reachesBound) {
      config.runTimeBound = 1;
    } else {
      OrmoHost::Fail("zelmdlExecute", 1, 9);
    }
    OrmoHost::OnCall("zelprofDestroySubscribeConfig", 1, [this] { token_.Cancel(); });
    ExpectCancelled([&] { return OrmoOfflineRunDetailed(config, request_, result_, detail_); });
    EXPECT_EQ(detail_.isBoundReached, reachesBound);
    EXPECT_EQ(result_.runCostTime, 0U);
  }
}

TEST_F(CancelTest, NoGraphBeginsAfterTheOneUnderWay) {
  for (const char* function : {"Session::AddGraph", "Session::RunGraphAsync"}) {
    SCOPED_TRACE(function);
    token_ = CancelToken();
    const ox::Graph graph = LoadGraph(AddGraph(8, 1));
    RunnerConfig config = MakeConfig();
    config.dependGraphs = {graph, graph, graph};
    OrmoHost::RecordCalls();
    OrmoHost::OnCall(function, 2, [this] { token_.Cancel(); });
    ExpectCancelled(
        [&] { return OrmoOnlineRunDetailed(graph, config, request_, results_, detail_); });
    EXPECT_EQ(OrmoHost::CallCount("Session::AddGraph"), 2U);
    EXPECT_EQ(OrmoHost::CallCount("Session::RunGraphAsync"),
              function == std::string("Session::AddGraph") ? 1U : 2U);
    EXPECT_EQ(OrmoHost::CallCount("Session::RemoveGraph"), 2U);
  }
}

TEST_F(CancelTest, WhatComesTooLateChangesNothing) {
  OrmoHost::OnCall("zelmdlUnload", 1, [this] { token_.Cancel(); });
  EXPECT_EQ(RunOffline(false, 2), STATUS_SUCCESS);
  EXPECT_FALSE(detail_.isCancelled);
  EXPECT_THAT(detail_.wallTimes, SizeIs(2));
  OrmoHost::RecordCalls();
  ExpectCancelled([this] { return RunOffline(false); });  // cancelled before it begins
  EXPECT_EQ(OrmoHost::CallCount("zelmdlLoadFromMem"), 0U);
}

TEST_F(CancelTest, AForkedChildCancelsNothingOfItsParents) {
  const pid_t child = fork();
  if (child == 0) {
    token_.Cancel();
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(token_.IsCancelled());
  EXPECT_EQ(RunOffline(true), STATUS_SUCCESS) << detail_.reason;
}

TEST_F(CancelTest, AtAnyMomentNothingIsLeftAndTheNextRunWorks) {
  constexpr int ROUNDS = 200;
  std::mt19937 random(20240501);  // NOLINT(cert-msc51-cpp): the same moments each time
  const auto pick = [&random](int below) {
    return std::uniform_int_distribution<int>(0, below - 1)(random);
  };
  const auto runAll = [this] {
    token_ = CancelToken();
    for (const auto& run : runs_) {
      EXPECT_EQ(run(1), STATUS_SUCCESS) << detail_.reason;
    }
  };
  runAll();
  const std::string alive = OrmoHost::Alive().ToString();
  const size_t descriptors = OpenDescriptors().size();
  for (int round = 0; round < ROUNDS; ++round) {
    token_ = CancelToken();
    request_.profilingEnd = static_cast<ProfilingEnd>(pick(3));
    const auto& run = runs_[static_cast<size_t>(pick(static_cast<int>(runs_.size())))];
    const int delay = pick(2000);
    const auto callAndCancel = [&] {
      std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::microseconds(delay));
        token_.Cancel();
      });
      ExpectCancelled([&] { return run(ENDLESS); });
      canceller.join();
    };
    if (pick(4) == 0) {
      WithWorkerBusy(callAndCancel);
    } else if (pick(4) == 0) {
      const LockHolder holder(directory_ / "ormo_data/Tarn/.ormo_dev_0.lock");
      callAndCancel();
    } else {
      callAndCancel();
    }
    EXPECT_EQ(OrmoHost::Alive().ToString(), alive);
    EXPECT_EQ(OpenDescriptors().size(), descriptors);
  }
  request_.profilingEnd = ProfilingEnd::BY_CLOSING;
  runAll();
}

}  // namespace
}  // namespace Ormo::Testing
