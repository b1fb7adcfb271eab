/// \file
/// The trace file: a JSON document that is complete between writes.
#ifndef ORMO_COMMON_TRACE_FILE_H
#define ORMO_COMMON_TRACE_FILE_H

#include <sys/types.h>

#include <string>
#include <string_view>

#include "common/file_descriptor.h"
#include "ormo/t_path.h"

namespace Ormo {

/// Grows by overwriting the end of the document, never as a whole. One thread at a time.
class TraceFile {
 public:
  /// Creates the file or empties the one that exists; nothing but a regular file is opened.
  bool Open(const TPath& path);
  /// Writes the document without events.
  bool WriteHead();
  /// Adds JSON objects with commas between them. On failure, a full disk for one, the document ends
  /// as it did before.
  bool Append(const std::string& events);
  /// Removes the file, unless another one has taken its place at the path. It stays open.
  void Remove(const TPath& path) const noexcept;
  /// Makes the file read-only, if there is one, and closes it. False when its mode could not be
  /// set.
  bool Close() noexcept;

 private:
  bool WriteEnd(std::string text);
  bool WriteAt(off_t offset, std::string_view bytes) const;
  void RestoreEnd() const;

  FileDescriptor file;
  bool dumped = false;  ///< there are events, so that the next one needs a comma
  off_t end_ = 0;       ///< where the brackets that end the document stand
};

}  // namespace Ormo

#endif  // ORMO_COMMON_TRACE_FILE_H
