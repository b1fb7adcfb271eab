#include "device/device_manager.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <new>
#include <string>
#include <tuple>
#include <vector>

#include "device/platform_session.h"
#include "ormo/status.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/temp_directory.h"
#include "support/thread_state.h"

namespace Ormo::Testing {
namespace {

// What the kernel knows of a descriptor, record locks of this process included.
std::string DescribeDescriptor(int fd) {
  return ReadFile("/proc/self/fdinfo/" + std::to_string(fd));
}

class DeviceManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("HOME", (directory_.Path()).c_str(), 1);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("TARN_CACHE_PATH", (directory_ / "cache").c_str(), 1);
  }

  void TearDown() override { DeviceManager::Finalize(); }

  TempDirectory directory_;
};

// A lock file that other processes do not look at is no lock: that is said, once.
TEST_F(DeviceManagerTest, TheLocksPlaceIsKeptAndSaidWhenOthersMayLookElsewhere) {
  // TARN_CACHE_PATH and HOME, null for none; the directory of the lock file; the warning.
  const std::tuple<const char*, const char*, std::string, std::string> cases[] = {
      {"cache", ".", "cache/ormo_data/Tarn", ""},
      {"cache", nullptr, "cache/ormo_data/Tarn", ""},
      {nullptr, ".", "Tarn", ""},
      {"file", ".", "Tarn", "TARN_CACHE_PATH cannot be used: "},
      {nullptr, nullptr, "Tarn", "HOME cannot be used: "},
      {nullptr, "blocked", "blocked", "/blocked/Tarn failed"},
  };
  const auto set = [](const char* name, const char* value) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    return value == nullptr ? unsetenv(name) : setenv(name, value, 1);
  };
  for (const auto& [cache, home, place, warning] : cases) {
    SCOPED_TRACE(testing::Message() << place << ": " << warning);
    const TempDirectory directory;
    std::filesystem::current_path(directory.Path());
    WriteFile("file", "in the way");
    std::filesystem::create_directory("blocked");
    std::filesystem::create_symlink("nowhere", "blocked/Tarn");
    set("TARN_CACHE_PATH", cache);
    set("HOME", home);
    const LogCapture log(DLOG_INFO);
    ASSERT_EQ(DeviceManager::Init({0}), STATUS_SUCCESS);
    std::filesystem::current_path("/");
    int fd = DeviceManager::Lock(0);
    DeviceManager::Unlock(fd);
    DeviceManager::Finalize();
    EXPECT_TRUE(std::filesystem::exists(directory / place + "/.ormo_dev_0.lock"));
    EXPECT_EQ(log.Contains(DLOG_INFO, "Cannot find TARN_CACHE_PATH or create directory: "),
              place.find("cache") != 0);
    EXPECT_EQ(log.Messages(DLOG_WARN).size(), warning.empty() ? 0U : 1U);
    EXPECT_TRUE(log.Contains(DLOG_WARN, warning) || warning.empty());
    EXPECT_TRUE(log.Contains(DLOG_INFO, "Lock path : "));
  }
}

TEST_F(DeviceManagerTest, ALockThatCannotBeHadIsToldWithItsReason) {
  ASSERT_EQ(DeviceManager::Init({0}), STATUS_SUCCESS);
  std::filesystem::create_symlink("elsewhere",
                                  directory_ / "cache/ormo_data/Tarn/.ormo_dev_0.lock");
  LogCapture log(DLOG_WARN);
  EXPECT_TRUE(DeviceManager::Acquire(0).MayRun());
  EXPECT_FALSE(std::filesystem::exists(directory_ / "cache/ormo_data/Tarn/elsewhere"));
  EXPECT_EQ(log.Find("Device [0] is not locked, other processes may run on it: Too many levels of "
                     "symbolic links")
                .file,
            "device_manager_test.cpp");
}

// Locks the device on another thread, which waits for something by the time this returns; the
// future has 0 or why it was not locked.
std::future<int> LockElsewhere() {
  std::promise<pid_t> thread;
  std::future<int> outcome = std::async(std::launch::async, [&thread] {
    thread.set_value(gettid());
    return DeviceManager::Acquire(0).Error();
  });
  AwaitSleep(thread.get_future().get());
  return outcome;
}

TEST_F(DeviceManagerTest, ThreadsTakeTurnsUntilTheirWaitsAreLeft) {
  for (const bool isLeft : {false, true}) {
    ASSERT_EQ(DeviceManager::Init({0, 0}), STATUS_SUCCESS);
    int fd = DeviceManager::Lock(0);
    std::future<int> other = LockElsewhere();
    EXPECT_THAT(DescribeDescriptor(fd), HasSubstr("POSIX  ADVISORY  WRITE"));
    EXPECT_NE(other.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    if (isLeft) {
      DeviceManager::Drain();
    } else {
      DeviceManager::Unlock(fd);
    }
    EXPECT_EQ(other.get(), isLeft ? ECANCELED : 0);
    DeviceManager::Unlock(fd);
    DeviceManager::Finalize();
  }
}

TEST_F(DeviceManagerTest, ALeftWaitTakesNoLockThatComesAfterwards) {
  DeviceLocks locks;
  const TPath path(directory_ / "lock");
  OrmoHost::OnCall("mmOpen2", 1, [&locks] { locks.Leave(); });
  EXPECT_EQ(locks.Acquire(0, path, path).Error(), ECANCELED);
  locks.Reopen();
  EXPECT_EQ(locks.Acquire(0, path, path).Error(), 0);
}

TEST_F(DeviceManagerTest, ARunnerThatDoesNotStartTakesItsOwnWorkersAndThePlatformAlong) {
  for (const bool startsWorkers : {true, false}) {
    if (!startsWorkers) {
      ASSERT_EQ(DeviceManager::Init({0}), STATUS_SUCCESS);
    }
    OrmoHost::RecordCalls();
    InitFlag runner;
    EXPECT_THROW(StartRunner(
                     runner, [] { return STATUS_SUCCESS; }, [] { return std::vector<uint32_t>{0}; },
                     [](const auto& /*devices*/) { throw std::bad_alloc(); }),
                 std::bad_alloc);
    EXPECT_FALSE(runner);
    EXPECT_EQ(DeviceManager::IsInitialized(), !startsWorkers);
    EXPECT_EQ(OrmoHost::CallCount("zelFinalize"), 1U);
  }
}

TEST_F(DeviceManagerTest, TheFirstInitialisationChoosesTheDevicesAndAllowsLocks) {
  const LogCapture log(DLOG_ERROR);
  EXPECT_EQ(DeviceManager::Lock(0), -1);
  EXPECT_EQ(log.Find("Device manager has not been initialized").file, "device_manager.cpp");
  ASSERT_EQ(DeviceManager::Init({0}), STATUS_SUCCESS);
  ASSERT_EQ(DeviceManager::Init({1}), STATUS_SUCCESS);
  EXPECT_FALSE(DeviceManager::Commit([](uint32_t) {}, 1).valid());
  EXPECT_TRUE(DeviceManager::Commit([](uint32_t) {}, 0).valid());
}

}  // namespace
}  // namespace Ormo::Testing
