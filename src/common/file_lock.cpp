#include "common/file_lock.h"

#include <fcntl.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "common/file_descriptor.h"
#include "common/log.h"
#include "common/regular_file.h"
#include "ormo/file_utils.h"

namespace Ormo {
namespace {

constexpr std::chrono::milliseconds DEADLOCK_PAUSE{5};

// A file system may give one file many numbers.
constexpr int MAX_ATTEMPTS = 100;

struct flock WholeFile(short type) {
  struct flock lock {};

  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0;
  lock.l_len = 0;
  lock.l_pid = -1;
  return lock;
}

}  // namespace

bool TryWriteLock(int fd) {
  struct flock lock = WholeFile(F_WRLCK);
  while (fcntl(fd, F_SETLK, &lock) != 0) {
    if (errno != EINTR) {
      errno = errno == EACCES ? EAGAIN : errno;
      return false;
    }
  }
  return true;
}

// The kernel looks for deadlocks between processes and knows nothing of their threads: two
// processes that each hold one file and wait for the other's in a second thread do move on, so a
// refusal is only a reason to wait.
bool AwaitWriteLock(int fd) {
  struct flock lock = WholeFile(F_WRLCK);
  while (fcntl(fd, F_SETLKW, &lock) != 0) {
    if (errno == EDEADLK) {
      std::this_thread::sleep_for(DEADLOCK_PAUSE);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

void DropLock(int fd) {
  struct flock lock = WholeFile(F_UNLCK);
  while (fcntl(fd, F_SETLKW, &lock) != 0 && errno == EINTR) {
  }
}

int OpenLocked(const TPath& path, const TPath& name, const std::function<bool(int)>& lock,
               CallSite site) {
  ORMO_LOG_DEBUG_AT(site, "Lock file %s", name.GetCString());
  for (int attempt = 1;; ++attempt) {
    FileDescriptor file =
        OpenWriteableRegularFile(path, name, O_RDWR | O_CREAT, FileUtils::SAFE_PERMISSION, site);
    if (!file) {
      const int error = errno;
      ORMO_LOG_ERROR_AT(site, "Open file %s  failed", name.GetCString());
      errno = error;
      return -1;
    }
    if (!lock(file.Get())) {
      const int error = errno;
      int fd = file.Detach();
      FileUtils::Close(fd);
      errno = error;
      return -1;
    }
    if (IsFileAt(file, path) || attempt == MAX_ATTEMPTS) {
      ORMO_LOG_DEBUG_AT(site, "Lock file %s success, fd : %d", name.GetCString(), file.Get());
      return file.Detach();
    }
  }
}

}  // namespace Ormo
