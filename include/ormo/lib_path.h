/// \file
/// Where the library itself is.
#ifndef ORMO_LIB_PATH_H
#define ORMO_LIB_PATH_H

#include "ormo/export.h"
#include "ormo/t_path.h"

namespace Ormo {

/// Any thread; reads the file system. An empty path, with a log line, tells a failure.
class ORMO_EXPORT LibPath {
 public:
  /// The running program's file.
  static TPath GetSelfPath();
  /// The directory of the shared library that holds this code, or of the program when it is linked
  /// into one; resolved, without a "/" at the end.
  static TPath GetSelfLibraryDir();
  /// "tools/ormo/" two levels above GetSelfLibraryDir.
  static TPath GetInstallPath();
};

}  // namespace Ormo

#endif  // ORMO_LIB_PATH_H
