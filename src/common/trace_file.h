/// \file
/// The trace file: a JSON document that is complete between writes.
#ifndef ORMO_COMMON_TRACE_FILE_H
#define ORMO_COMMON_TRACE_FILE_H

#include <sys/types.h>

#include <string>
#include <string_view>

#include "common/file_descriptor.h"

namespace Ormo {

/// Grows by overwriting the end of the document, never as a whole. One thread at a time.
class TraceFile {
 public:
  /// Creates the file or empties the one that exists.
  bool Open(const std::string& path);
  /// Writes the document without events.
  bool WriteHead();
  /// Adds JSON objects with commas between them. On failure, a full disk for one, the document ends
  /// as it did before.
  bool Append(const std::string& events);
  void Close();

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
