#include "device/profiled_run.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <future>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>

#include "device/device_manager.h"
#include "ormo/status.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

// Far more than a pipe holds.
constexpr int BLOCKS = 64;
constexpr int MORE_THAN_A_PIPE = 1 << 20;

std::atomic<int> polls{0};
bool arePipesRefused = false;

// Writes as a device would: without ever giving up. Begins when nothing has come for a while.
int WriteMuch(const int32_t* fd, uint32_t /*deviceId*/) {
  while (polls < 4) {
    std::this_thread::yield();
  }
  static const std::array<char, MORE_THAN_A_PIPE / BLOCKS> block = {};
  int written = 0;
  for (int i = 0; i < BLOCKS; ++i) {
    written += static_cast<int>(write(*fd, block.data(), block.size()));
  }
  return written == MORE_THAN_A_PIPE ? STATUS_SUCCESS : STATUS_FAILED;
}

}  // namespace

// The linker's names for what is called in place of a function, and for the function.
int RealOpen(int* ends, int flags) asm("__real_pipe2");
int RealPoll(pollfd* fds, nfds_t count, int timeout) asm("__real_poll");
ssize_t RealRead(int fd, void* buffer, size_t size) asm("__real_read");
int FakeOpen(int* ends, int flags) asm("__wrap_pipe2");
int FakePoll(pollfd* fds, nfds_t count, int timeout) asm("__wrap_poll");
ssize_t FakeRead(int fd, void* buffer, size_t size) asm("__wrap_read");

int FakeOpen(int* ends, int flags) {
  return arePipesRefused ? -1 : RealOpen(ends, flags);
}

// Every other call is interrupted by a signal.
int FakePoll(pollfd* fds, nfds_t count, int timeout) {
  errno = ++polls % 2 != 0 ? EINTR : 0;
  return errno != 0 ? -1 : RealPoll(fds, count, timeout);
}

ssize_t FakeRead(int fd, void* buffer, size_t size) {
  static std::atomic<int> reads{0};
  errno = ++reads % 2 != 0 ? EINTR : 0;
  return errno != 0 ? -1 : RealRead(fd, buffer, size);
}

namespace {

class ProfiledRunTest : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("TARN_CACHE_PATH", directory_.Path().c_str(), 1);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("ORMO_PROF_END", GetParam(), 1);
    ASSERT_EQ(DeviceManager::Init({0}), STATUS_SUCCESS);
    descriptors_ = OpenDescriptors();
  }

  void TearDown() override {
    EXPECT_EQ(OpenDescriptors(), descriptors_);
    DeviceManager::Finalize();
  }

  static bool ClosesAtEnd() { return std::string(GetParam()) == "close"; }

 private:
  TempDirectory directory_;
  std::map<int, std::string> descriptors_;
};

INSTANTIATE_TEST_SUITE_P(BothEndings, ProfiledRunTest, ::testing::Values("", "close"));

TEST_P(ProfiledRunTest, AReaderThatThrowsOrEndsTheProcessWaitsForTheWorkerFirst) {
  bool ended = false;
  const auto task = [&ended](const int32_t* fd, uint32_t id) {
    const int status = WriteMuch(fd, id);
    ended = true;
    return status;
  };
  const auto measure = [&](bool isEnd) {
    ProfiledRun run;
    ASSERT_EQ(run.Open(), STATUS_SUCCESS);
    ASSERT_TRUE(run.Commit(task, 0, run.WriteEnd()));
    run.Read([&](int, std::future<int>&) -> int {
      if (isEnd) {
        ProfiledRun::AwaitTaskOfThisThread();
        EXPECT_TRUE(ended);
      }
      throw std::bad_alloc();
    });
  };
  for (const bool isEnd : {false, true}) {
    ended = false;
    polls = 0;
    EXPECT_THROW(measure(isEnd), std::bad_alloc);
    EXPECT_TRUE(ended);
  }
}

TEST_P(ProfiledRunTest, WhatRunAndAnalysisMakeOfEachOther) {
  constexpr int UNFORESEEN = 4711;
  // The task's status, whether the analysis takes it, its own, that of the whole, and the line.
  const std::tuple<int, bool, int, int, bool> cases[] = {
      {0, true, 0, 0, false},
      {0, false, STATUS_FAILED, STATUS_FAILED, true},
      {STATUS_OUT_OF_BOUND, true, 0, 0, false},
      {STATUS_OUT_OF_BOUND, false, STATUS_PROFILING_FAILED, STATUS_OUT_OF_BOUND, true},
      {0, true, STATUS_OUT_OF_BOUND, STATUS_OUT_OF_BOUND, false},
      {0, true, STATUS_NOT_ENOUGH_MEMORY, STATUS_NOT_ENOUGH_MEMORY, false},
      {UNFORESEEN, true, UNFORESEEN, UNFORESEEN, true},
      {STATUS_EXECUTE_FAILED, false, STATUS_NOT_ENOUGH_MEMORY, STATUS_EXECUTE_FAILED, false},
  };
  for (const auto& [taskStatus, isTaken, analysisStatus, status, isLogged] : cases) {
    SCOPED_TRACE(testing::Message() << taskStatus << " " << analysisStatus);
    LogCapture log(DLOG_ERROR);
    ProfiledRun run;
    ASSERT_EQ(run.Open(), STATUS_SUCCESS);
    ASSERT_TRUE(run.Commit([result = taskStatus](uint32_t) { return result; }, 0));
    const int analysis = run.Read([takes = isTaken, result = analysisStatus](int, auto& future) {
      if (takes) {
        future.get();
      }
      return result;
    });
    EXPECT_EQ(run.TakeStatus(analysis), status);
    EXPECT_EQ(log.Messages().size(), isLogged ? 1U : 0U);
    const char* const file = isLogged ? "profiled_run_test.cpp" : "";
    EXPECT_EQ(log.Find("Profiling analysis failed").file, file);
  }
}

TEST_P(ProfiledRunTest, WithoutAPipeThereIsNoRun) {
  const LogCapture log(DLOG_ERROR);
  ProfiledRun run;
  arePipesRefused = true;
  EXPECT_EQ(run.Open(), STATUS_FAILED);
  arePipesRefused = false;
  EXPECT_EQ(log.Find("Pipe failed").file, "profiled_run_test.cpp");
}

TEST_P(ProfiledRunTest, TheWriteEndIsClosedWithTheTaskOnlyWhenAskedFor) {
  ProfiledRun run;
  ASSERT_EQ(run.Open(), STATUS_SUCCESS);
  ASSERT_TRUE(run.Commit([](uint32_t) -> int { throw std::domain_error("task"); }, 0));
  run.Read([](int fd, std::future<int>& future) {
    future.wait();
    char byte = 0;
    // Only asked when the pipe must have ended; an open one would never answer.
    return ClosesAtEnd() ? static_cast<int>(RealRead(fd, &byte, 1)) : 0;
  });
  EXPECT_EQ(*run.WriteEnd() == -1, ClosesAtEnd());
}

}  // namespace
}  // namespace Ormo::Testing
