#include "offline/device_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <limits>
#include <string>

#include "ormo/status.h"
#include "support/log_capture.h"
#include "support/temp_directory.h"

namespace Ormo {
namespace {

using Test::LogCapture;
using Test::ReadFile;
using Test::TempDirectory;
using Test::WriteFile;
using ::testing::HasSubstr;

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

  bool Exists(const std::string& name) const { return std::filesystem::exists(directory_ / name); }

  TempDirectory directory_;
};

TEST_F(DeviceManagerTest, TheLockFileStandsInTheCacheDirectory) {
  ASSERT_EQ(DeviceManager::Init({3}), STATUS_SUCCESS);
  int fd = DeviceManager::Lock(3);
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(Exists("cache/ormo_data/Tarn/.ormo_dev_3.lock"));
  EXPECT_THAT(DescribeDescriptor(fd), HasSubstr("POSIX  ADVISORY  WRITE"));
  DeviceManager::Unlock(fd);
  EXPECT_EQ(fd, -1);
}

TEST_F(DeviceManagerTest, WithoutACacheDirectoryItStandsInTheHome) {
  LogCapture log(DLOG_INFO);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
  unsetenv("TARN_CACHE_PATH");
  ASSERT_EQ(DeviceManager::Init({0}), STATUS_SUCCESS);
  int fd = DeviceManager::Lock(0);
  DeviceManager::Unlock(fd);
  EXPECT_TRUE(Exists("Tarn/.ormo_dev_0.lock"));
  EXPECT_TRUE(log.Contains(
      DLOG_INFO, "Cannot find TARN_CACHE_PATH or create directory:  failed, try home path"));
}

TEST_F(DeviceManagerTest, ACacheDirectoryThatCannotBeMadeGivesWayToTheHome) {
  WriteFile(directory_ / "cache", "a file in the way");
  std::filesystem::create_symlink("nowhere", directory_ / "Tarn");
  LogCapture log(DLOG_INFO);
  ASSERT_EQ(DeviceManager::Init({0}), STATUS_SUCCESS);
  const std::string home = std::filesystem::canonical(directory_.Path()).string();
  EXPECT_TRUE(log.Contains(DLOG_WARN, "Create directory: " + home + "/Tarn failed"));
  EXPECT_TRUE(log.Contains(DLOG_INFO, "Lock path : " + home));
}

// Waits until the thread waits for something.
void AwaitSleep(pid_t thread) {
  std::string state;
  while (state != "S") {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
    status.ignore(std::numeric_limits<std::streamsize>::max(), ')');
    status >> state;
  }
}

// Locks the device on another thread, which waits for something by the time this returns; the
// future has 0 or why it was not locked.
std::future<int> LockElsewhere() {
  std::promise<pid_t> thread;
  std::future<int> outcome = std::async(std::launch::async, [&thread] {
    thread.set_value(gettid());
    int fd = DeviceManager::Lock(0);
    const int error = fd < 0 ? errno : 0;
    DeviceManager::Unlock(fd);
    return error;
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

TEST_F(DeviceManagerTest, WithoutInitialisationNothingIsLocked) {
  LogCapture log(DLOG_ERROR);
  EXPECT_EQ(DeviceManager::Lock(0), -1);
  EXPECT_EQ(log.Find("Device manager has not been initialized").file, "device_manager.cpp");
  EXPECT_FALSE(Exists("cache"));
}

TEST_F(DeviceManagerTest, TheFirstInitialisationChoosesTheDevices) {
  ASSERT_EQ(DeviceManager::Init({0}), STATUS_SUCCESS);
  ASSERT_EQ(DeviceManager::Init({1}), STATUS_SUCCESS);
  EXPECT_FALSE(DeviceManager::Commit([](uint32_t) {}, 1).valid());
  EXPECT_TRUE(DeviceManager::Commit([](uint32_t) {}, 0).valid());
}

}  // namespace
}  // namespace Ormo
