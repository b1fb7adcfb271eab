#include "common/regular_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "common/trace_inner.h"
#include "common/utils.h"
#include "ormo/file_utils.h"
#include "support/log_capture.h"
#include "support/open_descriptors.h"
#include "support/temp_directory.h"

namespace Ormo {
namespace {

namespace fs = std::filesystem;
using Test::LogCapture;
using Test::OpenDescriptors;
using Test::ReadFile;
using Test::TempDirectory;
using Test::WriteFile;
using ::testing::ElementsAre;

unsigned ModeOf(const std::string& path) {
  return static_cast<unsigned>(fs::status(path).permissions());
}

/// What is planted where a file is to be opened. `victim` is another file, with content and mode
/// 0400.
struct Planted {
  const char* name;
  void (*plant)(const std::string& path, const std::string& victim);
  int error;  ///< of the refusal; 0: it is opened
};

void Nothing(const std::string& /*path*/, const std::string& /*victim*/) {}

void File(const std::string& path, const std::string& /*victim*/) {
  WriteFile(path, "old");
}

void HardLink(const std::string& path, const std::string& /*victim*/) {
  WriteFile(path + ".other", "old");
  fs::create_hard_link(path + ".other", path);
}

void Link(const std::string& path, const std::string& victim) {
  fs::create_symlink(victim, path);
}

void DanglingLink(const std::string& path, const std::string& victim) {
  fs::create_symlink(victim + ".missing", path);
}

void Fifo(const std::string& path, const std::string& /*victim*/) {
  mkfifo(path.c_str(), 0600);
}

void Directory(const std::string& path, const std::string& /*victim*/) {
  fs::create_directory(path);
}

const std::vector<Planted> PLANTED = {
    {"Nothing", Nothing, 0},         {"File", File, 0},     {"HardLink", HardLink, 0},
    {"Link", Link, ELOOP},           {"Fifo", Fifo, ENXIO}, {"DanglingLink", DanglingLink, ELOOP},
    {"Directory", Directory, EISDIR}};

/// A directory with a file that none of the openings may touch.
class Place {
 public:
  Place() {
    OrmoHost::Reset();
    WriteFile(victim, "victim");
    fs::permissions(victim, fs::perms::owner_read);
  }

  ~Place() {
    EXPECT_EQ(ReadFile(victim), "victim");
    EXPECT_EQ(ModeOf(victim), 0400U);
    EXPECT_FALSE(fs::exists(victim + ".missing"));
  }

  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  const TempDirectory directory;
  const std::string victim = directory / "victim";
};

TEST(RegularFileTest, IsOpenedOrRefusedWithTheReason) {
  const auto descriptors = OpenDescriptors();
  for (const Planted& planted : PLANTED) {
    SCOPED_TRACE(planted.name);
    const Place place;
    const std::string path = place.directory / "file";
    planted.plant(path, place.victim);
    OrmoHost::Fail("mmAccess2", 1, -1);  // whoever runs the test may write everything
    if (planted.error == 0) {
      if (fs::exists(path)) {
        fs::permissions(path, fs::perms::owner_read);
      }
      OrmoHost::Fail("mmOpen2", 1, -1);
      OrmoHost::Fail("mmGetErrorCode", 1, EINTR);
    }
    const LogCapture log(DLOG_ERROR);
    FileDescriptor file = OpenWriteableRegularFile(TPath(path), O_RDWR | O_CREAT, 0640);
    const int error = errno;
    EXPECT_EQ(static_cast<bool>(file), planted.error == 0);
    if (file) {
      EXPECT_TRUE(log.Lines().empty());
      EXPECT_EQ(ModeOf(path) & 0200U, 0200U);
      EXPECT_EQ(fcntl(file.Get(), F_GETFD), FD_CLOEXEC);
      file.Reset();
    } else {
      EXPECT_EQ(error, planted.error);
      EXPECT_THAT(log.Messages(), ElementsAre("[mmOpen2]failed:(" + std::to_string(error) + ")" +
                                              Utils::GetErrorText(error)));
      EXPECT_EQ(log.Find("mmOpen2").file, "regular_file_test.cpp");
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }
}

TEST(RegularFileTest, BecomesATimelineOrStays) {
  for (const Planted& planted : PLANTED) {
    SCOPED_TRACE(planted.name);
    const Place place;
    // The names of timelines hold the time, which stands still while it cannot be had.
    OrmoHost::Fail("mmGetTimeOfDay", OrmoHost::EVERY_CALL, -1);
    const std::string path = place.directory / ("ormo_trace_" + Utils::GetTimeStamp() + "_pid" +
                                                Utils::GetPid() + ".json");
    planted.plant(path, place.victim);
    const LogCapture log(DLOG_ERROR);
    {
      TraceInner recorder;
      recorder.StartDumpTrace(place.directory.Path().string());
    }
    if (planted.error == 0) {
      EXPECT_EQ(ReadFile(path), R"({"displayTimeUnit":"ms","traceEvents":[]})");
      EXPECT_EQ(ModeOf(path), 0400U);
      EXPECT_TRUE(log.Lines().empty());
    } else {
      EXPECT_THAT(log.Messages(), ElementsAre("Open " + path + " failed"));
    }
  }
}

}  // namespace
}  // namespace Ormo
