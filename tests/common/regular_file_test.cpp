#include "common/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "common/trace_inner.h"
#include "common/utils.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

namespace fs = std::filesystem;

// What is planted where a file is to be opened, beside a file "victim".
struct Planted {
  const char* name;
  int error;  // of the refusal; 0: it is opened
  void (*plant)(const fs::path& path);
};

const Planted PLANTED[] = {
    {"nothing", 0, [](const fs::path&) {}},
    {"a file", 0, [](const fs::path& path) { WriteFile(path, "old"); }},
    {"a link", ELOOP, [](const fs::path& path) { fs::create_symlink("victim", path); }},
    {"a dangling link", ELOOP, [](const fs::path& path) { fs::create_symlink("missing", path); }},
    {"a FIFO", ENXIO, [](const fs::path& path) { mkfifo(path.c_str(), 0600); }},
    {"a directory", EISDIR, [](const fs::path& path) { fs::create_directory(path); }},
};

fs::perms ModeOf(const std::string& path) {
  return fs::status(path).permissions();
}

void ExpectOpened(const std::string& path) {
  if (fs::exists(path)) {
    fs::permissions(path, fs::perms::owner_read);
  }
  // Whoever runs the test may write everything: interrupted once, then refused once.
  OrmoHost::Fail("mmOpen2", 1, -1);
  OrmoHost::Fail("mmGetErrorCode", 1, EINTR);
  OrmoHost::Fail("mmOpen2", 2, -1);
  OrmoHost::Fail("mmGetErrorCode", 2, EACCES);
  OrmoHost::Fail("mmGetErrorCode", 3, EACCES);
  const LogCapture log(DLOG_ERROR);
  EXPECT_TRUE(OpenWriteableRegularFile(TPath(path), {}, O_RDWR | O_CREAT, 0640));
  EXPECT_NE(ModeOf(path) & fs::perms::owner_write, fs::perms::none);
  EXPECT_TRUE(log.Lines().empty());
  fs::permissions(path, fs::perms::owner_read);
  OrmoHost::Fail("mmOpen2", 1, -1);
  OrmoHost::Fail("mmGetErrorCode", 1, EACCES);
  OrmoHost::Fail("mmGetErrorCode", 2, EACCES);
  OrmoHost::Fail("mmChmod", 1, -1);
  EXPECT_TRUE(OpenWriteableRegularFile(TPath(path), TPath("shown"), O_RDWR, 0640));
  EXPECT_THAT(log.Messages(), ElementsAre("Chmod failed, path : shown, ret : -1"));
}

void ExpectRefused(const std::string& path, int error) {
  const LogCapture log(DLOG_ERROR);
  EXPECT_FALSE(OpenWriteableRegularFile(TPath(path), {}, O_RDWR | O_CREAT, 0640));
  EXPECT_EQ(errno, error);
  EXPECT_THAT(log.Messages(), ElementsAre("[mmOpen2]failed:(" + std::to_string(error) + ")" +
                                          Utils::GetErrorText(error)));
  EXPECT_EQ(log.Find("mmOpen2").file, "regular_file_test.cpp");
}

// The same for what takes the file's place after it was looked at.
void ExpectRefusedLate(const std::string& path, const Planted& planted) {
  fs::remove(path);
  WriteFile(path, "");
  for (const int access : {O_RDONLY, O_WRONLY}) {
    OrmoHost::OnCall("mmOpen2", 1, [&] {
      fs::remove(path);
      planted.plant(path);
    });
    EXPECT_FALSE(OpenRegularFile(TPath(path), access, 0640));
    EXPECT_EQ(errno, planted.error) << access;
  }
}

TEST(RegularFileTest, NothingElseIsOpenedOrChanged) {
  const auto descriptors = OpenDescriptors();
  for (const Planted& planted : PLANTED) {
    SCOPED_TRACE(planted.name);
    OrmoHost::Reset();
    // The names of timelines hold the time, which stands still while it cannot be had.
    OrmoHost::Fail("mmGetTimeOfDay", OrmoHost::EVERY_CALL, -1);
    const TempDirectory directory;
    const std::string victim = directory / "victim";
    WriteFile(victim, "victim");
    fs::permissions(victim, fs::perms::owner_read);
    const std::string timeline =
        directory / ("ormo_trace_" + Utils::GetTimeStamp() + "_pid" + Utils::GetPid() + ".json");
    planted.plant(directory / "file");
    planted.plant(timeline);
    if (planted.error == 0) {
      ExpectOpened(directory / "file");
    } else {
      ExpectRefused(directory / "file", planted.error);
      ExpectRefusedLate(directory / "file", planted);
    }
    TraceInner().StartDumpTrace(directory.Path().string());
    EXPECT_TRUE(planted.error != 0 ||
                ReadFile(timeline) == R"({"displayTimeUnit":"ms","traceEvents":[]})");
    EXPECT_EQ(ReadFile(victim), "victim");
    EXPECT_EQ(ModeOf(victim), fs::perms::owner_read);
    EXPECT_FALSE(fs::exists(directory / "missing"));
    EXPECT_EQ(OpenDescriptors(), descriptors);
  }
  OrmoHost::Reset();
}

}  // namespace
}  // namespace Ormo::Testing
