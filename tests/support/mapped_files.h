/// \file
/// The files that this process has mapped.
#ifndef ORMO_TESTS_SUPPORT_MAPPED_FILES_H
#define ORMO_TESTS_SUPPORT_MAPPED_FILES_H

#include <fstream>
#include <string>

namespace Ormo::Testing {

/// Whether one of them has a name that begins like this, wherever it lies. For programs that link
/// nothing, too.
inline bool IsMapped(const std::string& beginning) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.compare(line.rfind('/') + 1, beginning.size(), beginning) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_MAPPED_FILES_H
