/// \file
/// Files and directories over the platform's operating-system layer.
#ifndef ORMO_FILE_UTILS_H
#define ORMO_FILE_UTILS_H

#include <sys/stat.h>

#include <cstdint>

#include "ormo/export.h"
#include "ormo/t_path.h"

namespace Ormo {

/// Any thread. All operations may block for the file system. Failures are told by the result and a
/// log line.
class ORMO_EXPORT FileUtils {
 public:
  static constexpr uint32_t WRITE_ONLY_MODE = 0200;
  static constexpr uint32_t READ_ONLY_MODE = 0400;
  static constexpr uint32_t READ_WRITE_MODE = 0600;
  static constexpr uint32_t SAFE_PERMISSION = 0640;

  /// Creates a directory with mode 0750, and what is missing above it. False when it could not be
  /// created or is not readable, writable and searchable; the latter is also reported to the error
  /// manager (EG0010). A readable and writable one that exists is left alone.
  static bool CreateDirectory(const TPath& dir);
  /// Removes an empty directory.
  static bool RemoveDirectory(const TPath& dir);

  /// The resolved path of the variable HOME, and the working directory; empty on failure.
  static TPath GetHomePath();
  static TPath GetCwd();

  /// 0, or -1 with `st` undefined.
  static int GetFileStat(const TPath& path, struct stat64& st);
  /// 0 or -1.
  static int Chmod(const TPath& path, uint32_t mode);

  /// Opens a file, closed on exec, with flags and mode as of open(2). A file that exists and is not
  /// writable is made writable for its owner first. The descriptor is the caller's, to be given to
  /// Close; negative on failure.
  static int Open(const TPath& path, int flags, uint32_t mode);
  /// Bytes moved, fewer than `len` at times, 0 at the end of a file; negative on failure. A call
  /// that a signal interrupts is repeated.
  static int64_t Read(int fd, char* buf, uint32_t len);
  static int64_t Write(int fd, const char* buf, uint32_t len);
  /// Closes the descriptor and sets it to -1, on failure too.
  static void Close(int& fd);

  /// Copies the content; what `to` held is lost. 0, or -1 with `to` incomplete. A regular file is
  /// not copied to itself, by whatever names or links that lead to it at the call: -1, and it keeps
  /// its content.
  static int CopyFile(const TPath& from, const TPath& to);

  /// Takes the write lock of the whole file, which is created where it is missing, and waits
  /// without a time-out while another process holds it. The lock is the process's: two threads that
  /// take the same one both get it, and closing any descriptor of the file drops it. The descriptor
  /// belongs to the caller, for FileUnlock; negative on failure.
  ///
  /// A symbolic link, and whatever else is no regular file, is refused. A file that was replaced
  /// while its lock was waited for is left for the new one, 99 times at most. A relative
  /// path is looked up in the working directory each time, also after such a wait.
  static int FileLock(const TPath& path);
  /// Drops the lock, closes the descriptor and sets it to -1; a negative one is left alone. 0.
  static int FileUnlock(int& fd);
};

}  // namespace Ormo

#endif  // ORMO_FILE_UTILS_H
