#include "ormo/file_utils.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "common/file_lock.h"
#include "common/invalid_param.h"
#include "common/log.h"
#include "common/scope_exit.h"
#include "common/system_error.h"
#include "common/utils.h"
#include "mm/mm.h"

namespace Ormo {

namespace {

constexpr uint32_t DIRECTORY_MODE = 0750;
constexpr int32_t CWD_SIZE = 512;
constexpr uint32_t COPY_CHUNK_SIZE = 512;

// Gives the owner the right to write an existing file that lacks it.
int MakeWriteable(const TPath& path) {
  if (!path.IsExist(false) || path.IsWriteable()) {
    return 0;
  }
  mmStat64 status{};
  const int ret = mmStat64Get(path.GetCString(), &status);
  if (ret == -1) {
    LogSystemError("mmStat64Get", "failed");
  }
  if (ret != 0) {
    ORMO_LOG_ERROR("Get stat failed, ret : %d", ret);
    return ret < 0 ? ret : -1;  // a positive one would pass for a descriptor
  }
  FileUtils::Chmod(path, status.st_mode | FileUtils::WRITE_ONLY_MODE);
  return 0;
}

// Creates a directory in one that exists.
bool CreateLevel(const TPath& dir) {
  if (mmMkdir(dir.GetCString(), DIRECTORY_MODE) != 0 && mmGetErrorCode() != EEXIST) {
    LogSystemError("Create directory", dir.GetCString());
    return false;
  }
  if (dir.IsAccessDir()) {
    ORMO_LOG_INFO("Create directory %s", dir.GetCString());
    return true;
  }
  const std::string reason = "[" + dir.GetString() + "] doesn't have proper permission";
  ReportReason(ERROR_CODE_PERMISSION, reason);
  ORMO_LOG_ERROR("%s.", reason.c_str());
  return false;
}

// Whether the path leads to the open regular file, by whatever name or link.
bool LeadsTo(int fd, const TPath& path) {
  struct stat64 file {};

  struct stat64 other {};

  return fstat64(fd, &file) == 0 && S_ISREG(file.st_mode) &&
         stat64(path.GetCString(), &other) == 0 && file.st_dev == other.st_dev &&
         file.st_ino == other.st_ino;
}

bool WriteAll(int fd, const char* data, int64_t size) {
  while (size > 0) {
    const int64_t written = FileUtils::Write(fd, data, static_cast<uint32_t>(size));
    if (written <= 0) {
      return false;
    }
    data += written;
    size -= written;
  }
  return true;
}

int CopyContent(int fromFd, int toFd, const TPath& from, const TPath& to) {
  char chunk[COPY_CHUNK_SIZE];
  while (true) {
    const int64_t size = FileUtils::Read(fromFd, chunk, sizeof(chunk));
    if (size < 0) {
      ORMO_LOG_ERROR("Read file %s failed", from.GetCString());
      return -1;
    }
    if (size == 0) {
      return 0;
    }
    if (!WriteAll(toFd, chunk, size)) {
      ORMO_LOG_ERROR("Write file %s failed", to.GetCString());
      return -1;
    }
  }
}

}  // namespace

bool FileUtils::CreateDirectory(const TPath& dir) {
  if (dir.Empty()) {
    ORMO_LOG_ERROR("given empty directory");
    return false;
  }
  // What is missing, from the directory upwards. Each is a prefix of it, so that its length will
  // do.
  std::vector<size_t> missing;
  for (TPath level = dir; !level.Empty() && !level.IsExist(true); level.GetParentDirectory()) {
    missing.push_back(level.GetString().size());
  }
  return std::all_of(missing.rbegin(), missing.rend(), [&dir](size_t length) {
    return CreateLevel(TPath(dir.GetString().substr(0, length)));
  });
}

bool FileUtils::RemoveDirectory(const TPath& dir) {
  if (dir.Empty()) {
    ORMO_LOG_ERROR("The directory path is empty.");
    return false;
  }
  if (!dir.IsExist(true) || mmRmdir(dir.GetCString()) != 0) {
    LogSystemError("Remove directory", dir.GetCString());
    return false;
  }
  ORMO_LOG_INFO("Remove directory %s.", dir.GetCString());
  return true;
}

TPath FileUtils::GetHomePath() {
  TPath home(Utils::GetEnv("HOME"));
  if (!home.RealPath()) {
    ORMO_LOG_ERROR("Get path[%s] real path failed", home.GetCString());
    return {};
  }
  return home;
}

TPath FileUtils::GetCwd() {
  char directory[CWD_SIZE] = {};
  if (mmGetCwd(directory, CWD_SIZE) != 0) {
    return {};
  }
  return TPath(directory);
}

int FileUtils::GetFileStat(const TPath& path, struct stat64& st) {
  const int ret = mmStat64Get(path.GetCString(), &st);
  if (ret != 0) {
    ORMO_LOG_ERROR("Execute mmStat64Get get stat failed, ret : %d", ret);
    return -1;
  }
  return 0;
}

int FileUtils::Chmod(const TPath& path, uint32_t mode) {
  const int ret = mmChmod(path.GetCString(), mode);
  if (ret != 0) {
    ORMO_LOG_ERROR("Chmod failed, path : %s, ret : %d", path.GetCString(), ret);
    return -1;
  }
  return 0;
}

int FileUtils::Open(const TPath& path, int flags, uint32_t mode) {
  const int ret = MakeWriteable(path);
  if (ret != 0) {
    return ret;
  }
  const int fd = mmOpen2(path.GetCString(), flags | O_CLOEXEC, mode);
  if (fd == -1) {
    LogSystemError("mmOpen2", "failed");
  }
  return fd;
}

int64_t FileUtils::Read(int fd, char* buf, uint32_t len) {
  int64_t size = 0;
  do {
    size = mmRead(fd, buf, len);
  } while (size < 0 && mmGetErrorCode() == EINTR);
  if (size < 0) {
    LogSystemError("mmRead", "failed");
  }
  return size;
}

int64_t FileUtils::Write(int fd, const char* buf, uint32_t len) {
  int64_t size = 0;
  do {
    size = mmWrite(fd, buf, len);
  } while (size < 0 && mmGetErrorCode() == EINTR);
  if (size < 0) {
    LogSystemError("mmWrite", "failed");
  }
  return size;
}

void FileUtils::Close(int& fd) {
  const int ret = mmClose(fd);
  if (ret == -1) {
    LogSystemError("mmClose", "failed");
  }
  if (ret < 0) {
    ORMO_LOG_ERROR("Call mmClose failed, fd : %d, ret : %d", fd, ret);
  }
  fd = -1;
}

int FileUtils::CopyFile(const TPath& from, const TPath& to) {
  ORMO_LOG_INFO("copy %s to %s", from.GetCString(), to.GetCString());
  int fromFd = Open(from, O_RDONLY, READ_ONLY_MODE);
  if (fromFd < 0) {
    ORMO_LOG_ERROR("Failed to open old file : %s", from.GetCString());
    return -1;
  }
  const ScopeExit closeFrom("the old file", [&fromFd] { Close(fromFd); });
  if (LeadsTo(fromFd, to)) {
    ORMO_LOG_ERROR("%s and %s are the same file", from.GetCString(), to.GetCString());
    return -1;
  }
  int toFd = Open(to, O_WRONLY | O_CREAT | O_TRUNC, READ_WRITE_MODE);
  if (toFd < 0) {
    ORMO_LOG_ERROR("Failed to open new file : %s", to.GetCString());
    return -1;
  }
  const ScopeExit closeTo("the new file", [&toFd] { Close(toFd); });
  return CopyContent(fromFd, toFd, from, to);
}

int FileUtils::FileLock(const TPath& path) {
  return OpenLocked(path, path, AwaitWriteLock);
}

int FileUtils::FileUnlock(int& fd) {
  if (fd >= 0) {
    ORMO_LOG_DEBUG("Unlock file, fd : %d", fd);
    DropLock(fd);
    Close(fd);
  }
  return 0;
}

}  // namespace Ormo
