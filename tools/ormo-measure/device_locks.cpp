#include "device_locks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "ormo/file_utils.h"
#include "ormo/t_path.h"

namespace OrmoMeasure {
namespace {

// Creates the directory, as the library does.
Ormo::TPath LockDirectory() {
  const char* cache = std::getenv("TARN_CACHE_PATH");  // NOLINT(concurrency-mt-unsafe): no thread
  if (cache != nullptr) {
    Ormo::TPath directory(std::string(cache) + "/ormo_data/Tarn");
    if (Ormo::FileUtils::CreateDirectory(directory)) {
      return directory;
    }
  }
  const Ormo::TPath home = Ormo::FileUtils::GetHomePath();
  const Ormo::TPath directory = home + "Tarn";
  return Ormo::FileUtils::CreateDirectory(directory) ? directory : home;
}

// A lock that another process holds can be had later. 0, or the reason's number.
int TryLock(int fd) {
  struct stat status {};

  if (fstat(fd, &status) != 0) {
    return errno;
  }
  if (!S_ISREG(status.st_mode)) {
    return ENXIO;
  }

  struct flock lock {};

  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  if (fcntl(fd, F_SETLK, &lock) == 0 || errno == EAGAIN || errno == EACCES) {
    return 0;
  }
  return errno;
}

// Whether the library, which gives itself the right to write a file of its own, can open it then.
bool CanBeWidened(const std::string& path) {
  struct stat status {};

  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         status.st_uid == geteuid() && (status.st_mode & S_IRUSR) != 0;
}

int TryLockFile(const std::string& path) {
  constexpr mode_t MODE = 0640;
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, MODE);
  if (fd < 0) {
    const int error = errno;
    return error == EACCES && CanBeWidened(path) ? 0 : error;
  }
  const int error = TryLock(fd);
  // Gives back the lock, and any other that this process holds on the file: nothing may be measured
  // yet.
  close(fd);
  return error;
}

}  // namespace

DeviceLocks TryLocks(const std::vector<uint32_t>& devices) {
  const Ormo::TPath directory = LockDirectory();
  DeviceLocks locks{directory.GetString(), {}};
  for (const uint32_t id : devices) {
    const bool isKnown =
        std::any_of(locks.unlocked.begin(), locks.unlocked.end(),
                    [id](const UnlockedDevice& device) { return device.id == id; });
    const std::string path =
        (directory + (".ormo_dev_" + std::to_string(id) + ".lock")).GetString();
    const int error = isKnown ? 0 : TryLockFile(path);
    if (error != 0) {
      locks.unlocked.push_back({id, path + ": " + std::generic_category().message(error)});
    }
  }
  return locks;
}

std::string UnlockedText(const UnlockedDevice& device) {
  return "device " + std::to_string(device.id) +
         " is not locked, other processes may measure on it at the same time: " + device.reason;
}

void WarnOfUnlocked(std::ostream& out, const DeviceLocks& locks) {
  for (const UnlockedDevice& device : locks.unlocked) {
    out << "ormo-measure: " << UnlockedText(device) << '\n';
  }
}

}  // namespace OrmoMeasure
