/// \file
/// The platform's layer over the operating system.
///
/// Unless it says otherwise, a function returns 0 for success and a negative value for failure,
/// with the reason in mmGetErrorCode.
#ifndef MM_MM_H
#define MM_MM_H

#include <dirent.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <cstdint>
#include <ctime>

typedef struct stat64 mmStat64;

/// Both negative when the clock could not be read.
struct mmTimespec {
  int64_t tv_sec;
  int64_t tv_nsec;
};

extern "C" {

/// A descriptor that is closed on exec, or -1.
int mmOpen2(const char* path, int flags, uint32_t mode);
/// Bytes moved, or a negative value.
int64_t mmRead(int fd, void* buffer, uint32_t length);
int64_t mmWrite(int fd, const void* buffer, uint32_t length);
int mmClose(int fd);
int mmStat64Get(const char* path, mmStat64* status);
int mmChmod(const char* path, uint32_t mode);
int mmMkdir(const char* path, uint32_t mode);
/// Removes an empty directory.
int mmRmdir(const char* path);
/// `mode` 0 asks for existence; 1, 2 and 4 add up to execute, write and read access.
int mmAccess2(const char* path, int mode);
int mmIsDir(const char* path);
/// Writes the resolved path; `length` is at least 4096.
int mmRealPath(const char* path, char* resolved, int32_t length);
int mmGetCwd(char* buffer, int32_t length);
/// Number of entries, released by mmScandirFree, or a negative value. `filter` may be null.
int mmScandir(const char* path, dirent*** entries, int (*filter)(const dirent*),
              int (*compare)(const dirent**, const dirent**));
void mmScandirFree(dirent** entries, int count);
/// The calling thread's error number.
int mmGetErrorCode();
/// Thread and process id, or -1.
int mmGetTid();
int mmGetPid();
/// The raw monotonic clock.
mmTimespec mmGetTickCount();
int mmSetCurrentThreadName(const char* name);
/// Copies the variable's value; fails when it is unset or does not fit with its terminating zero.
int mmGetEnv(const char* name, char* value, uint32_t length);
int mmGetTimeOfDay(timeval* time, void* zone);
int mmLocalTimeR(const time_t* seconds, tm* result);
/// Loads a shared library with the flags of dlopen; null when that fails. The handle also goes to
/// dlsym.
void* mmDlopen(const char* path, int flags);
/// What the calling thread's last call on libraries failed for; null when there is nothing to tell.
const char* mmDlerror();
int mmDlclose(void* handle);

}  // extern "C"

#endif  // MM_MM_H
