#include "ormo/file_utils.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "ormo/lib_path.h"
#include "ormo/ormo_error_manager.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"
#include "support/temp_directory.h"

namespace {

/// Errors that the next waits for a lock meet.
std::vector<int> scriptedLockErrors;

}  // namespace

// Takes the place of the system's, which cannot be brought to refuse a lock at will.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's are reserved
extern "C" int fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  if (command == F_SETLKW && !scriptedLockErrors.empty()) {
    errno = scriptedLockErrors.front();
    scriptedLockErrors.erase(scriptedLockErrors.begin());
    return -1;
  }
  return static_cast<int>(syscall(SYS_fcntl, fd, command, argument));
}

namespace Ormo::Testing {
namespace {

namespace fs = std::filesystem;

unsigned ModeOf(const std::string& path) {
  struct stat status {};

  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST(FileUtilsTest, CreatesWhatIsMissingAboveADirectory) {
  const TempDirectory directory;
  const TPath path(directory / "a/b/c");
  const mode_t mask = umask(022);
  EXPECT_TRUE(FileUtils::CreateDirectory(path));
  umask(mask);
  for (const char* level : {"a", "a/b", "a/b/c"}) {
    EXPECT_EQ(ModeOf(directory / level), 0750U);
  }

  const LogCapture log(DLOG_DEBUG);
  EXPECT_TRUE(FileUtils::CreateDirectory(path));
  EXPECT_TRUE(log.Lines().empty()) << "one that exists is left alone";
  EXPECT_FALSE(FileUtils::CreateDirectory(TPath()));
  // Of many levels, none of which is made.
  EXPECT_FALSE(FileUtils::CreateDirectory(TPath(directory.Path() / std::string(120000, '/'))));
}

TEST(FileUtilsTest, SaysWhatTheSystemRefused) {
  const TempDirectory directory;
  const std::string path = directory / "new";
  const LogCapture log(DLOG_ERROR);
  OrmoHost::Fail("mmMkdir", 1, -1);
  EXPECT_FALSE(FileUtils::CreateDirectory(TPath(path)));
  OrmoHost::Fail("mmAccess2", 3, -1);  // after the new one and its parent
  EXPECT_FALSE(FileUtils::CreateDirectory(TPath(path)));
  const std::string reason = "[" + path + "] doesn't have proper permission";
  int fd = 9999;
  FileUtils::Close(fd);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(FileUtils::Chmod(TPath(directory / "missing"), 0600), -1);
  EXPECT_THAT(log.Messages(),
              ElementsAre("[Create directory]" + path + ":(5)Input/output error",
                          "[check path rwx permission]" + path + ":(5)Input/output error",
                          reason + ".", "[mmClose]failed:(9)Bad file descriptor",
                          "Call mmClose failed, fd : 9999, ret : -1",
                          "Chmod failed, path : " + (directory / "missing") + ", ret : -1"));
  const std::string message = OrmoErrorManager::GetInstance().OrmoGetErrorMessage();
  EXPECT_THAT(message, AllOf(HasSubstr("EG0010"), HasSubstr(reason)));
}

TEST(FileUtilsTest, RepeatsAnInterruptedReadButNoOther) {
  const TempDirectory directory;
  WriteFile(directory / "file", "x");
  int fd = FileUtils::Open(TPath(directory / "file"), O_RDONLY, 0);
  OrmoHost::Fail("mmRead", 1, -1);
  OrmoHost::Fail("mmGetErrorCode", 1, EINTR);
  char byte = 0;
  EXPECT_EQ(FileUtils::Read(fd, &byte, 1), 1);
  EXPECT_EQ(byte, 'x');
  FileUtils::Close(fd);
  const LogCapture log(DLOG_ERROR);
  EXPECT_LT(FileUtils::Read(fd, &byte, 1), 0);
  EXPECT_THAT(log.Messages(), ElementsAre("[mmRead]failed:(9)Bad file descriptor"));
}

TEST(FileUtilsTest, MakesAFileWriteableBeforeItOpensIt) {
  const TempDirectory directory;
  const std::string path = directory / "file";
  WriteFile(path, "");
  chmod(path.c_str(), 0440);
  OrmoHost::Fail("mmAccess2", 2, -1);  // whoever runs the test may write everything
  int fd = FileUtils::Open(TPath(path), O_WRONLY, 0);
  ASSERT_GE(fd, 0);
  EXPECT_EQ(ModeOf(path), 0640U);
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  FileUtils::Close(fd);
}

TEST(FileUtilsTest, CopiesAFileOrSaysWhereItStopped) {
  const TempDirectory directory;
  const TPath from(directory / "from");
  const TPath to(directory / "to");
  const std::string content = std::string(600, 'a') + std::string(700, 'b');
  WriteFile(from.GetString(), content);
  WriteFile(to.GetString(), std::string(5000, 'x'));
  EXPECT_EQ(FileUtils::CopyFile(from, to), 0);
  EXPECT_EQ(ReadFile(to.GetString()), content);

  const LogCapture log(DLOG_ERROR);
  const auto descriptors = OpenDescriptors();
  fs::create_hard_link(directory / "to", directory / "hard");
  fs::create_symlink("to", directory / "soft");
  for (const char* same : {"to", "hard", "soft"}) {
    EXPECT_EQ(FileUtils::CopyFile(to, TPath(directory / same)), -1);
    EXPECT_EQ(ReadFile(to.GetString()), content) << same;
  }
  EXPECT_EQ(FileUtils::CopyFile(TPath("/dev/null"), TPath("/dev/null")), 0) << "loses nothing";
  EXPECT_EQ(log.Count(DLOG_ERROR, " are the same file"), 3U);
  EXPECT_EQ(FileUtils::CopyFile(TPath(directory / "missing"), to), -1);
  EXPECT_EQ(FileUtils::CopyFile(from, TPath(directory / "missing/to")), -1);
  OrmoHost::Fail("mmRead", 2, -1);
  EXPECT_EQ(FileUtils::CopyFile(from, to), -1);
  EXPECT_TRUE(log.Contains(DLOG_ERROR, "Read file " + from.GetString() + " failed"));
  OrmoHost::Fail("mmWrite", 3, -1);
  EXPECT_EQ(FileUtils::CopyFile(from, to), -1);
  EXPECT_TRUE(log.Contains(DLOG_ERROR, "Write file " + to.GetString() + " failed"));
  OrmoHost::Throw("mmWrite", 1);
  EXPECT_ANY_THROW(FileUtils::CopyFile(from, to));
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST(FileUtilsTest, KeepsWaitingForALockThroughSignalsAndSupposedDeadlocks) {
  const TempDirectory directory;
  const TPath path(directory / "lock");
  const LogCapture log(DLOG_DEBUG);
  scriptedLockErrors = {EINTR, EDEADLK, EINTR, EDEADLK};
  int fd = FileUtils::FileLock(path);
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(scriptedLockErrors.empty());
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(ModeOf(path.GetString()) & 0137U, 0U);
  const std::string number = std::to_string(fd);
  EXPECT_EQ(FileUtils::FileUnlock(fd), 0);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(FileUtils::FileUnlock(fd), 0);
  EXPECT_THAT(log.Messages(),
              ElementsAre("Lock file " + path.GetString(),
                          "Lock file " + path.GetString() + " success, fd : " + number,
                          "Unlock file, fd : " + number));
}

TEST(FileUtilsTest, ClosesTheFileOfARefusedLock) {
  const TempDirectory directory;
  const auto descriptors = OpenDescriptors();
  scriptedLockErrors = {EINTR, ENOLCK};
  EXPECT_EQ(FileUtils::FileLock(TPath(directory / "lock")), -1);
  EXPECT_EQ(OpenDescriptors(), descriptors);

  const LogCapture log(DLOG_ERROR);
  EXPECT_LT(FileUtils::FileLock(TPath(directory / "missing/lock")), 0);
  EXPECT_TRUE(log.Contains(DLOG_ERROR, "Open file " + (directory / "missing/lock") + "  failed"));
}

TEST(LibPathTest, FindsTheProgramThatHoldsThisCode) {
  const fs::path program = fs::read_symlink("/proc/self/exe");
  EXPECT_EQ(LibPath::GetSelfPath().GetString(), program.string());
  EXPECT_EQ(LibPath::GetInstallPath().GetString(),
            (program.parent_path().parent_path().parent_path() / "tools/ormo/").string());
}

}  // namespace
}  // namespace Ormo::Testing
