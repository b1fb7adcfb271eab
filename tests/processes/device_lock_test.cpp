// Processes that want the same devices. Every step waits for the event that the one before it must
// bring about.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <string>

#include "support/child_process.h"
#include "support/temp_directory.h"

namespace Ormo {
namespace {

using Testing::ChildProcess;
using Testing::HomeDirectory;
using Testing::WriteFile;

class DeviceLockTest : public ::testing::Test {
 protected:
  DeviceLockTest() { signal(SIGPIPE, SIG_IGN); }

  static void Expect(ChildProcess& process, const std::string& event) {
    ASSERT_EQ(process.ReadLine(), event);
  }

  static void Start(ChildProcess& process, const std::string& device) {
    process.Send("run " + device);
    Expect(process, "running " + device);
  }

  // Lets the run on the device go on to its end.
  static void Finish(ChildProcess& process, const std::string& device) {
    process.Send("release " + device);
    Expect(process, "done " + device + " 0");
  }

  HomeDirectory directory_;
  const std::string lockFile_ = directory_ / "ormo_data/Tarn/.ormo_dev_0.lock";
};

TEST_F(DeviceLockTest, TwoProcessesTakeTurnsOnADevice) {
  ChildProcess first({DEVICE_USER});
  Start(first, "0");
  // Loads want no lock: the second process comes as far as its run.
  ChildProcess second({DEVICE_USER});
  Start(second, "1");
  second.Send("run 0");
  Expect(second, "waiting 0");
  Finish(first, "0");
  Expect(second, "running 0");
  first.Send("run 0");
  Expect(first, "waiting 0");
  Finish(second, "0");
  Expect(first, "running 0");
  Finish(first, "0");
  Finish(second, "1");
  EXPECT_EQ(first.Wait(), 0);
  EXPECT_EQ(second.Wait(), 0);
}

TEST_F(DeviceLockTest, CrossedWaitsEnd) {
  ChildProcess first({DEVICE_USER});
  ChildProcess second({DEVICE_USER});
  Start(first, "0");
  Start(second, "1");
  first.Send("run 1");
  Expect(first, "waiting 1");
  second.Send("run 0");
  Expect(second, "waiting 0");
  // The kernel counts processes: each waits for the other. It refuses whichever comes second.
  EXPECT_EQ(ChildProcess::AwaitOutput(first, second).ReadLine().substr(0, 7), "refused");
  Finish(second, "1");
  Expect(first, "running 1");
  Finish(first, "0");
  Expect(second, "running 0");
  Finish(first, "1");
  Finish(second, "0");
  EXPECT_EQ(first.Wait(), 0);
  EXPECT_EQ(second.Wait(), 0);
}

TEST_F(DeviceLockTest, AKilledProcessDoesNotBlockAnother) {
  ChildProcess first({DEVICE_USER});
  ChildProcess second({DEVICE_USER});
  Start(first, "0");
  second.Send("run 0");
  Expect(second, "waiting 0");
  first.Kill();
  EXPECT_EQ(first.Wait(), -SIGKILL);
  Expect(second, "running 0");
  Finish(second, "0");
  EXPECT_EQ(second.Wait(), 0);
}

TEST_F(DeviceLockTest, AWaiterFollowsTheFileThatTookThePlaceOfItsOwn) {
  ChildProcess first({DEVICE_USER});
  ChildProcess second({DEVICE_USER});
  ChildProcess third({DEVICE_USER});
  Start(first, "0");
  second.Send("run 0");
  Expect(second, "waiting 0");
  WriteFile(directory_ / "new", "");
  std::filesystem::rename(directory_ / "new", lockFile_);
  Start(third, "0");
  Finish(first, "0");
  Expect(second, "waiting 0");
  Finish(third, "0");
  Expect(second, "running 0");
  Finish(second, "0");
}

}  // namespace
}  // namespace Ormo
