#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "mm/mm.h"
#include "seam/host_call.h"

using OrmoHost::AttemptSystem;

int mmOpen2(const char* path, int flags, uint32_t mode) {
  return AttemptSystem("mmOpen2", [&] { return open(path, flags | O_CLOEXEC, mode); });
}

int64_t mmRead(int fd, void* buffer, uint32_t length) {
  return AttemptSystem("mmRead", [&] { return read(fd, buffer, length); });
}

int64_t mmWrite(int fd, const void* buffer, uint32_t length) {
  return AttemptSystem("mmWrite", [&] { return write(fd, buffer, length); });
}

int mmClose(int fd) {
  // A descriptor is closed whatever the script says.
  int result = close(fd);
  return AttemptSystem("mmClose", [&] { return result; });
}

int mmStat64Get(const char* path, mmStat64* status) {
  return AttemptSystem("mmStat64Get", [&] { return stat64(path, status); });
}

int mmChmod(const char* path, uint32_t mode) {
  return AttemptSystem("mmChmod", [&] { return chmod(path, mode); });
}

int mmMkdir(const char* path, uint32_t mode) {
  return AttemptSystem("mmMkdir", [&] { return mkdir(path, mode); });
}

int mmRmdir(const char* path) {
  return AttemptSystem("mmRmdir", [&] { return rmdir(path); });
}

int mmAccess2(const char* path, int mode) {
  return AttemptSystem("mmAccess2", [&] { return access(path, mode); });
}

int mmIsDir(const char* path) {
  return AttemptSystem("mmIsDir", [&] {
    struct stat64 status {};
    return stat64(path, &status) == 0 && S_ISDIR(status.st_mode) ? 0 : -1;
  });
}

int mmRealPath(const char* path, char* resolved, int32_t length) {
  return AttemptSystem("mmRealPath", [&] {
    return length >= PATH_MAX && realpath(path, resolved) != nullptr ? 0 : -1;
  });
}

int mmGetCwd(char* buffer, int32_t length) {
  return AttemptSystem("mmGetCwd", [&] {
    return length > 0 && getcwd(buffer, static_cast<size_t>(length)) != nullptr ? 0 : -1;
  });
}

int mmScandir(const char* path, dirent*** entries, int (*filter)(const dirent*),
              int (*compare)(const dirent**, const dirent**)) {
  return AttemptSystem("mmScandir", [&] {
    int count = scandir(path, entries, filter, nullptr);
    if (count > 0 && compare != nullptr) {
      std::sort(*entries, *entries + count, [&](const dirent* left, const dirent* right) {
        return compare(&left, &right) < 0;
      });
    }
    return count;
  });
}

void mmScandirFree(dirent** entries, int count) {
  for (int i = 0; i < count; ++i) {
    free(entries[i]);
  }
  free(entries);
  OrmoHost::HostCall("mmScandirFree", OrmoHost::Failing::CANNOT).Fails();
}
