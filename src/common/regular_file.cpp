#include "common/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "common/log.h"
#include "common/system_error.h"
#include "mm/mm.h"
#include "ormo/file_utils.h"

namespace Ormo {

namespace {

// The error number for a file of such a mode that is not opened; 0 for a regular one.
int RefusalOf(mode_t mode) {
  if (S_ISREG(mode)) {
    return 0;
  }
  if (S_ISLNK(mode)) {
    return ELOOP;
  }
  return S_ISDIR(mode) ? EISDIR : ENXIO;
}

// False, with errno, for what is there and is no regular file.
bool IsRegularOrMissing(const TPath& path) {
  struct stat status {};

  if (lstat(path.GetCString(), &status) != 0) {
    return errno == ENOENT;
  }
  errno = RefusalOf(status.st_mode);
  return errno == 0;
}

bool IsRegular(const FileDescriptor& file) {
  struct stat status {};

  if (fstat(file.Get(), &status) != 0) {
    return false;
  }
  errno = RefusalOf(status.st_mode);
  return errno == 0;
}

// Gives the owner the right to write a regular file that lacks it. Goes through a descriptor: the
// path may lead to another file at any time.
void MakeWriteable(const TPath& path, const TPath& name, const CallSite& site) {
  const FileDescriptor file(open(path.GetCString(), O_PATH | O_NOFOLLOW | O_CLOEXEC));

  struct stat status {};

  if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return;  // missing, or refused when it is opened
  }
  if ((status.st_mode & FileUtils::WRITE_ONLY_MODE) != 0) {
    return;
  }
  const std::string opened = "/proc/self/fd/" + std::to_string(file.Get());
  const int ret = mmChmod(opened.c_str(), status.st_mode | FileUtils::WRITE_ONLY_MODE);
  if (ret != 0) {
    ORMO_LOG_ERROR_AT(site, "Chmod failed, path : %s, ret : %d", name.GetCString(), ret);
  }
}

}  // namespace

FileDescriptor OpenRegularFile(const TPath& path, int flags, uint32_t mode) {
  if (!IsRegularOrMissing(path)) {
    return {};
  }
  // What takes the file's place from here on is not followed, and not waited for if it is a FIFO.
  constexpr int guards = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  int fd = -1;
  do {
    fd = mmOpen2(path.GetCString(), flags | guards, mode);
  } while (fd < 0 && mmGetErrorCode() == EINTR);
  FileDescriptor file(fd);
  if (file && !IsRegular(file)) {
    const int error = errno;
    file.Reset();
    errno = error;
  }
  return file;
}

FileDescriptor OpenWriteableRegularFile(const TPath& path, const TPath& name, int flags,
                                        uint32_t mode, const CallSite& site) {
  FileDescriptor file = OpenRegularFile(path, flags, mode);
  if (!file && mmGetErrorCode() == EACCES) {
    MakeWriteable(path, name, site);
    file = OpenRegularFile(path, flags, mode);
  }
  if (!file) {
    const int error = errno;
    LogSystemError("mmOpen2", "failed", DLOG_ERROR, site);
    errno = error;
  }
  return file;
}

bool IsFileAt(const FileDescriptor& file, const TPath& path) noexcept {
  struct stat opened {};

  struct stat named {};

  return fstat(file.Get(), &opened) == 0 && lstat(path.GetCString(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

bool SetMode(const FileDescriptor& file, uint32_t mode) noexcept {
  return fchmod(file.Get(), mode) == 0;
}

}  // namespace Ormo
