#include "device/profiled_run.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <future>
#include <map>
#include <new>
#include <stdexcept>
#include <string>

#include "device/device_manager.h"
#include "ormo/status.h"
#include "support/open_descriptors.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

// Far more than a pipe holds.
constexpr int BLOCKS = 64;
constexpr int MORE_THAN_A_PIPE = 1 << 20;

// Writes as a device would: without ever giving up.
int WriteMuch(const int32_t* fd, uint32_t /*deviceId*/) {
  static const std::array<char, MORE_THAN_A_PIPE / BLOCKS> block = {};
  int written = 0;
  for (int i = 0; i < BLOCKS; ++i) {
    written += static_cast<int>(write(*fd, block.data(), block.size()));
  }
  return written == MORE_THAN_A_PIPE ? STATUS_SUCCESS : STATUS_FAILED;
}

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

TEST_P(ProfiledRunTest, AReaderThatThrowsWaitsForTheWorkerFirst) {
  bool ended = false;
  const auto task = [&ended](const int32_t* fd, uint32_t id) {
    const int status = WriteMuch(fd, id);
    ended = true;
    return status;
  };
  const auto measure = [&task] {
    ProfiledRun run;
    ASSERT_EQ(run.Open(), STATUS_SUCCESS);
    ASSERT_TRUE(run.Commit(task, 0, run.WriteEnd()));
    run.Read([](int, std::future<int>&) -> int { throw std::bad_alloc(); });
  };
  EXPECT_THROW(measure(), std::bad_alloc);
  EXPECT_TRUE(ended);
}

TEST_P(ProfiledRunTest, TheTasksFailureGoesBeforeTheReaders) {
  ProfiledRun run;
  ASSERT_EQ(run.Open(), STATUS_SUCCESS);
  ASSERT_TRUE(run.Commit([](uint32_t) { return STATUS_EXECUTE_FAILED; }, 0));
  const int analysis = run.Read([](int, std::future<int>&) { return STATUS_NOT_ENOUGH_MEMORY; });
  EXPECT_EQ(run.TakeStatus(analysis), STATUS_EXECUTE_FAILED);
}

TEST_P(ProfiledRunTest, AStatusThatTheReaderTookIsNotAskedForAgain) {
  ProfiledRun run;
  ASSERT_EQ(run.Open(), STATUS_SUCCESS);
  ASSERT_TRUE(run.Commit([](uint32_t) { return STATUS_OUT_OF_BOUND; }, 0));
  const int analysis = run.Read([](int, std::future<int>& future) {
    future.get();
    return STATUS_SUCCESS;
  });
  EXPECT_EQ(run.TakeStatus(analysis), STATUS_SUCCESS);
}

TEST_P(ProfiledRunTest, TheWriteEndIsClosedWithTheTaskOnlyWhenAskedFor) {
  ProfiledRun run;
  ASSERT_EQ(run.Open(), STATUS_SUCCESS);
  ASSERT_TRUE(run.Commit([](uint32_t) -> int { throw std::domain_error("task"); }, 0));
  run.Read([](int fd, std::future<int>& future) {
    future.wait();
    char byte = 0;
    // Only asked when the pipe must have ended; an open one would never answer.
    return ClosesAtEnd() ? static_cast<int>(read(fd, &byte, 1)) : 0;
  });
  EXPECT_EQ(*run.WriteEnd() == -1, ClosesAtEnd());
}

}  // namespace
}  // namespace Ormo::Testing
