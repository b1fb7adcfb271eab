#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <cstdlib>

#include "mm/mm.h"
#include "services/mm_call.h"

using OrmoHost::Failing;
using OrmoHost::MmCall;

int mmOpen2(const char* path, int flags, uint32_t mode) {
  MmCall call("mmOpen2");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return open(path, flags | O_CLOEXEC, static_cast<mode_t>(mode));
}

int64_t mmRead(int fd, void* buffer, uint32_t length) {
  MmCall call("mmRead");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return read(fd, buffer, length);
}

int64_t mmWrite(int fd, const void* buffer, uint32_t length) {
  MmCall call("mmWrite");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return write(fd, buffer, length);
}

int mmClose(int fd) {
  MmCall call("mmClose");
  return call.After(close(fd));
}

int mmStat64Get(const char* path, mmStat64* status) {
  MmCall call("mmStat64Get");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return stat64(path, status);
}

int mmChmod(const char* path, uint32_t mode) {
  MmCall call("mmChmod");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return chmod(path, static_cast<mode_t>(mode));
}

int mmMkdir(const char* path, uint32_t mode) {
  MmCall call("mmMkdir");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return mkdir(path, static_cast<mode_t>(mode));
}

int mmRmdir(const char* path) {
  MmCall call("mmRmdir");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return rmdir(path);
}

int mmAccess2(const char* path, int mode) {
  MmCall call("mmAccess2");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return access(path, mode);
}

int mmIsDir(const char* path) {
  MmCall call("mmIsDir");
  if (int32_t code = call.Fails()) {
    return code;
  }

  struct stat64 status {};

  if (stat64(path, &status) != 0) {
    return -1;
  }
  return S_ISDIR(status.st_mode) ? 0 : -1;
}

int mmRealPath(const char* path, char* resolved, int32_t length) {
  MmCall call("mmRealPath");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (length < PATH_MAX) {
    errno = ERANGE;
    return -1;
  }
  return realpath(path, resolved) != nullptr ? 0 : -1;
}

int mmGetCwd(char* buffer, int32_t length) {
  MmCall call("mmGetCwd");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (length <= 0) {
    errno = EINVAL;
    return -1;
  }
  return getcwd(buffer, static_cast<size_t>(length)) != nullptr ? 0 : -1;
}

int mmScandir(const char* path, dirent*** entries, int (*filter)(const dirent*),
              int (*compare)(const dirent**, const dirent**)) {
  MmCall call("mmScandir");
  if (int32_t code = call.Fails()) {
    return code;
  }
  int count = scandir(path, entries, filter, nullptr);
  if (count > 0 && compare != nullptr) {
    qsort(*entries, static_cast<size_t>(count), sizeof(dirent*),
          reinterpret_cast<int (*)(const void*, const void*)>(compare));
  }
  return count;
}

void mmScandirFree(dirent** entries, int count) {
  MmCall call("mmScandirFree", Failing::CANNOT);
  for (int i = 0; i < count; ++i) {
    free(entries[i]);
  }
  free(entries);
  call.Fails();
}
