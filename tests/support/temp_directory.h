/// \file
/// A directory that lives as long as a test.
#ifndef ORMO_TESTS_SUPPORT_TEMP_DIRECTORY_H
#define ORMO_TESTS_SUPPORT_TEMP_DIRECTORY_H

#include <filesystem>
#include <string>

namespace Ormo::Testing {

/// A new empty directory, removed with all that it holds.
class TempDirectory {
 public:
  TempDirectory();
  ~TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  const std::filesystem::path& Path() const { return path_; }

  /// Path of `name` in the directory.
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

/// The bytes of a file.
std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_TEMP_DIRECTORY_H
