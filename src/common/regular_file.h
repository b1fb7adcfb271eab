/// \file
/// Files that stand where others may write, and must not lead anywhere else.
#ifndef ORMO_COMMON_REGULAR_FILE_H
#define ORMO_COMMON_REGULAR_FILE_H

#include <cstdint>

#include "common/call_site.h"
#include "common/file_descriptor.h"
#include "ormo/t_path.h"

namespace Ormo {

/// Opens a regular file, closed on exec, with flags and mode as of open(2). Nothing else is opened,
/// followed or waited for. An open that a signal interrupts is repeated. None, without a log line
/// and with the reason in errno, on failure: ELOOP for a symbolic link, EISDIR for a directory,
/// ENXIO for whatever else is no regular file.
FileDescriptor OpenRegularFile(const TPath& path, int flags, uint32_t mode);

/// The same with what FileUtils::Open does around it: a regular file that exists and is not
/// writable is made writable for its owner; failures are logged as lines of `site`, which call the
/// file `name`. The reason is still in errno.
FileDescriptor OpenWriteableRegularFile(const TPath& path, const TPath& name, int flags,
                                        uint32_t mode, const CallSite& site = CallSite::Here());

/// Whether the open file still stands at the path: somebody may have removed it, and others may use
/// what has taken its place.
bool IsFileAt(const FileDescriptor& file, const TPath& path) noexcept;

/// Sets the permission bits of an open file, whatever its path leads to by now. False, with the
/// reason in errno, on failure.
bool SetMode(const FileDescriptor& file, uint32_t mode) noexcept;

}  // namespace Ormo

#endif  // ORMO_COMMON_REGULAR_FILE_H
