#include "ormo/file_utils.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <regex>

#include "common/file_lock.h"
#include "common/scripted_system.h"
#include "ormo/lib_path.h"
#include "ormo/ormo_error_manager.h"
#include "support/expected_text.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

namespace fs = std::filesystem;

unsigned ModeOf(const std::string& path) {
  struct stat status {};

  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

// In a directory that holds "file" and "directory".
class FilesTest : public testing::Test {
 protected:
  FilesTest() {
    fs::current_path(directory_.Path());
    fs::create_directory("directory");
    WriteFile("file", "x");
    fs::permissions("file", fs::perms::owner_all);
  }

  // Lines of all levels are those that are kept under the test's name, and nothing is left open.
  void ExpectTold() const {
    const std::regex own(directory_.Path().string() + "/|(fd : )[0-9]+(?=\n)");
    const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    ExpectText(FILES, name, std::regex_replace(log_.Text(), own, "$1*"));
    EXPECT_EQ(OrmoHost::PendingFaults(), 0U);
    EXPECT_EQ(OpenDescriptors(), descriptors_);
  }

  const TempDirectory directory_;
  const LogCapture log_;
  const std::map<int, std::string> descriptors_ = OpenDescriptors();
};

TEST_F(FilesTest, PathsTellWhatIsRefused) {
  EXPECT_FALSE(TPath().IsExist(false));
  EXPECT_FALSE(TPath("file").IsDir());
  EXPECT_FALSE(TPath("file").IsAccessDir());
  EXPECT_FALSE(TPath("missing").IsAccessDir());
  EXPECT_FALSE(TPath().RealPath());
  EXPECT_FALSE(TPath("missing").RealPath());
  EXPECT_FALSE(TPath().NormalizeDir());
  OrmoHost::Fail("mmMkdir", 1, -1);
  EXPECT_FALSE(TPath("new").NormalizeDir());
  OrmoHost::Fail("mmRealPath", 1, -1);
  EXPECT_FALSE(TPath("directory").NormalizeDir());
  EXPECT_FALSE(TPath().RemoveDir());
  EXPECT_FALSE(TPath("missing").RemoveDir());
  OrmoHost::Fail("mmRmdir", 1, -1);
  EXPECT_FALSE(TPath("directory").RemoveDir());
  std::vector<TPath> files;
  EXPECT_EQ(TPath("missing").GetDirFileList(files, nullptr), -1);
  EXPECT_EQ(TPath(".").GetDirFileList(files, [](const dirent*) { return 0; }), 0);
  EXPECT_FALSE(TPath::IsValidDirent(nullptr));
  ExpectTold();
}

TEST_F(FilesTest, DirectoriesTellWhatBecomesOfThem) {
  EXPECT_FALSE(FileUtils::CreateDirectory(TPath()));
  EXPECT_TRUE(FileUtils::CreateDirectory(TPath("directory")));
  OrmoHost::OnCall("mmMkdir", 1, [] { fs::create_directory("new"); });
  EXPECT_TRUE(FileUtils::CreateDirectory(TPath("new")));
  OrmoHost::Fail("mmAccess2", 2, -1);
  EXPECT_FALSE(FileUtils::CreateDirectory(TPath("refused")));
  EXPECT_FALSE(FileUtils::RemoveDirectory(TPath()));
  EXPECT_FALSE(FileUtils::RemoveDirectory(TPath("missing")));
  EXPECT_TRUE(FileUtils::RemoveDirectory(TPath("new")));
  OrmoHost::Fail("mmGetEnv", 1, -1);
  EXPECT_TRUE(FileUtils::GetHomePath().Empty());
  OrmoHost::Fail("mmGetCwd", 1, -1);
  EXPECT_TRUE(FileUtils::GetCwd().Empty());
  ExpectTold();
  EXPECT_THAT(OrmoErrorManager::GetInstance().OrmoGetErrorMessage(),
              AllOf(HasSubstr("EG0010"), HasSubstr("[refused] doesn't have proper permission")));
}

TEST_F(FilesTest, FilesTellWhatIsRefused) {
  struct stat64 status {};

  EXPECT_EQ(FileUtils::GetFileStat(TPath("missing"), status), -1);
  EXPECT_EQ(FileUtils::GetFileStat(TPath("file"), status), 0);
  EXPECT_EQ(status.st_size, 1);
  EXPECT_EQ(FileUtils::Chmod(TPath("missing"), 0600), -1);
  EXPECT_EQ(FileUtils::Open(TPath("missing"), O_RDONLY, 0), -1);
  for (const int code : {-1, -5}) {
    OrmoHost::Fail("mmAccess2", 2, -1);
    OrmoHost::Fail("mmStat64Get", 1, code);
    EXPECT_EQ(FileUtils::Open(TPath("file"), O_RDONLY, 0), code);
  }
  int fd = FileUtils::Open(TPath("file"), O_RDWR, 0);
  char byte = 0;
  OrmoHost::Fail("mmRead", 1, -1);
  OrmoHost::Fail("mmGetErrorCode", 1, EINTR);
  EXPECT_EQ(FileUtils::Read(fd, &byte, 1), 1);
  OrmoHost::Fail("mmWrite", 1, -1);
  OrmoHost::Fail("mmGetErrorCode", 1, EINTR);
  EXPECT_EQ(FileUtils::Write(fd, "y", 1), 1);
  FileUtils::Close(fd);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(FileUtils::Read(fd, &byte, 1), -1);
  EXPECT_EQ(FileUtils::Write(fd, "y", 1), -1);
  FileUtils::Close(fd = 9999);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(FileUtils::FileUnlock(fd), 0);
  scriptedLockErrors = {EINTR, ENOLCK};
  EXPECT_EQ(FileUtils::FileLock(TPath("file")), -1);
  EXPECT_EQ(FileUtils::FileLock(TPath("missing/lock")), -1);
  EXPECT_EQ(std::string(1, byte) + ReadFile("file"), "xxy");
  ExpectTold();
}

TEST_F(FilesTest, CopiesTellWhereTheyStopped) {
  const auto copy = [](const char* from, const char* to) {
    return FileUtils::CopyFile(TPath(from), TPath(to));
  };
  fs::create_hard_link("file", "hard");
  EXPECT_EQ(copy("missing", "to"), -1);
  EXPECT_EQ(copy("file", "missing/to"), -1);
  OrmoHost::Fail("mmRead", 2, -1);
  EXPECT_EQ(copy("file", "to"), -1);
  OrmoHost::Fail("mmWrite", 1, -1);
  EXPECT_EQ(copy("file", "to"), -1);
  EXPECT_EQ(copy("file", "hard"), -1);
  OrmoHost::Throw("mmWrite", 1);
  EXPECT_ANY_THROW(copy("file", "to"));
  EXPECT_EQ(copy("/dev/null", "/dev/null"), 0) << "loses nothing";
  EXPECT_EQ(ReadFile("file"), "x");
  ExpectTold();
}

TEST_F(FilesTest, DirectoriesAndFilesHaveTheModesThatTheyAreMadeWith) {
  umask(022);
  EXPECT_TRUE(FileUtils::CreateDirectory(TPath("a/b/c")));
  for (const char* level : {"a", "a/b", "a/b/c"}) {
    EXPECT_EQ(ModeOf(level), 0750U);
  }
  // Of many levels, none of which is made.
  EXPECT_FALSE(FileUtils::CreateDirectory(TPath("/missing" + std::string(120000, '/'))));
  fs::create_symlink(directory_.Path(), "link");
  setenv("HOME", "link", 1);  // NOLINT(concurrency-mt-unsafe)
  EXPECT_EQ(FileUtils::GetHomePath().GetString(), directory_.Path());
  EXPECT_EQ(FileUtils::GetCwd().GetString(), directory_.Path());

  EXPECT_EQ(FileUtils::Chmod(TPath("file"), 0440), 0);
  OrmoHost::Fail("mmAccess2", 2, -1);  // whoever runs the test may write everything
  int fd = FileUtils::Open(TPath("file"), O_WRONLY, 0);
  EXPECT_EQ(ModeOf("file"), 0640U) << "made writeable";
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  FileUtils::Close(fd);

  const std::string content = std::string(600, 'a') + std::string(700, 'b');
  WriteFile("file", content);
  WriteFile("longer", std::string(5000, 'x'));
  signal(SIGXFSZ, SIG_IGN);
  LimitFileSize(1000);  // reached in the middle of a piece
  OrmoHost::OnCall("mmWrite", 3, [] { LimitFileSize(RLIM_INFINITY); });
  for (const char* to : {"to", "longer"}) {
    EXPECT_EQ(FileUtils::CopyFile(TPath("file"), TPath(to)), 0);
    EXPECT_EQ(ReadFile(to), content);
  }
  EXPECT_EQ(ModeOf("to"), 0600U);
}

// What keeps others from locking the file.
struct flock HeldLock(int fd) {
  struct flock held {};

  held.l_type = F_WRLCK;
  EXPECT_EQ(fcntl(fd, F_OFD_GETLK, &held), 0);
  return held;
}

TEST_F(FilesTest, LocksHoldTheWholeFileThroughSignalsAndSupposedDeadlocks) {
  umask(0);
  scriptedLockErrors = {EINTR, EDEADLK, EINTR, EDEADLK};
  int fd = FileUtils::FileLock(TPath("lock"));
  EXPECT_TRUE(scriptedLockErrors.empty());
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(ModeOf("lock"), 0640U);
  for (const bool isAwaited : {true, false}) {
    EXPECT_EQ(HeldLock(fd).l_type, F_WRLCK) << isAwaited;
    EXPECT_EQ(HeldLock(fd).l_start + HeldLock(fd).l_len, 0);
    scriptedLockErrors = {EINTR};
    DropLock(fd);
    EXPECT_EQ(HeldLock(fd).l_type, F_UNLCK);
    scriptedLockErrors = {EINTR};
    EXPECT_TRUE(TryWriteLock(fd));
  }
  for (const int error : {EACCES, ENOLCK}) {
    scriptedLockErrors = {error};
    EXPECT_FALSE(TryWriteLock(fd));
    EXPECT_EQ(errno, error == EACCES ? EAGAIN : error);
  }
  EXPECT_EQ(FileUtils::FileUnlock(fd), 0);
  EXPECT_EQ(fd, -1);
  ExpectTold();
}

TEST_F(FilesTest, LocksLeaveAFileThatWasReplacedUpToAHundredTimes) {
  for (const int replacements : {0, 1, 99, 1000}) {
    int locks = 0;
    const int fd = OpenLocked(TPath("lock"), TPath("shown"), [&](int /*fd*/) {
      if (locks++ < replacements) {
        WriteFile("new", "");
        fs::rename("new", "lock");
      }
      return true;
    });
    EXPECT_EQ(locks, std::min(replacements + 1, 100));
    close(fd);
    EXPECT_EQ(OpenDescriptors(), descriptors_);
  }
  EXPECT_EQ(log_.Lines().front().message, "Lock file shown");
  EXPECT_EQ(log_.Lines().front().file, "file_utils_test.cpp");
}

TEST(LibPathTest, FindsTheProgramThatHoldsThisCode) {
  const fs::path program = fs::read_symlink("/proc/self/exe");
  const LogCapture log(DLOG_WARN);
  EXPECT_EQ(LibPath::GetSelfPath().GetString(), program.string());
  EXPECT_EQ(LibPath::GetInstallPath().GetString(),
            (program.parent_path().parent_path().parent_path() / "tools/ormo/").string());
  OrmoHost::Fail("mmRealPath", 1, -1);
  EXPECT_EQ(LibPath::GetInstallPath().GetString(), "");
  EXPECT_EQ(log.Messages().back(), "Realpath self library path " + program.string() + " failed.");
}

}  // namespace
}  // namespace Ormo::Testing
