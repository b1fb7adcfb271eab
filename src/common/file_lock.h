/// \file
/// Write locks over whole files, between processes.
#ifndef ORMO_COMMON_FILE_LOCK_H
#define ORMO_COMMON_FILE_LOCK_H

#include <functional>

#include "common/call_site.h"
#include "ormo/t_path.h"

namespace Ormo {

/// Takes the write lock of an open file if no other process holds it. False with the reason in
/// errno; EAGAIN when another process holds it.
bool TryWriteLock(int fd);

/// Waits for the write lock of an open file without a time-out, and does not return for signals.
/// False with the reason in errno. A thread that waits may be cancelled.
bool AwaitWriteLock(int fd);

/// Gives up the process's lock of an open file and leaves the file open. Closing any descriptor of
/// the file does so as well.
void DropLock(int fd);

/// Opens the file, made where it is missing, and locks it as `lock` does, which gets a descriptor
/// and returns whether it is locked now, with errno set when not. A file that was replaced
/// meanwhile is left for the new one. Symbolic links are not followed, and what is no regular file
/// is refused. Lines call the file `name` and are attributed to `site`.
///
/// Returns the descriptor, the caller's, or a negative value with the reason in errno.
int OpenLocked(const TPath& path, const TPath& name, const std::function<bool(int)>& lock,
               CallSite site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_COMMON_FILE_LOCK_H
