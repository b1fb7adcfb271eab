#include "offline/device_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
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
using ::testing::Not;

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

TEST_F(DeviceManagerTest, TwoHoldersOfOneDeviceShareTheLockUntilTheLastLetsGo) {
  ASSERT_EQ(DeviceManager::Init({0, 0}), STATUS_SUCCESS);
  int first = DeviceManager::Lock(0);
  int second = DeviceManager::Lock(0);
  const int descriptor = second;
  EXPECT_EQ(first, second);
  DeviceManager::Unlock(first);
  EXPECT_THAT(DescribeDescriptor(descriptor), HasSubstr("POSIX  ADVISORY  WRITE"));
  DeviceManager::Unlock(second);
  EXPECT_THAT(DescribeDescriptor(descriptor), Not(HasSubstr("POSIX  ADVISORY  WRITE")));
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
