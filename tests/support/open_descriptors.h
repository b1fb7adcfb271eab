/// \file
/// The descriptors that this process has open.
#ifndef ORMO_TESTS_SUPPORT_OPEN_DESCRIPTORS_H
#define ORMO_TESTS_SUPPORT_OPEN_DESCRIPTORS_H

#include <filesystem>
#include <map>
#include <string>
#include <system_error>

namespace Ormo::Testing {

/// Number to what it names, for instance "pipe:[4711]".
inline std::map<int, std::string> OpenDescriptors() {
  std::map<int, std::string> descriptors;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
    // The listing's own descriptor is among them.
    if (!gone && target.find("/proc/") != 0) {
      descriptors[std::stoi(entry.path().filename().string())] = target;
    }
  }
  return descriptors;
}

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_OPEN_DESCRIPTORS_H
