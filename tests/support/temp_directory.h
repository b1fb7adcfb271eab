/// \file
/// A directory that lives as long as a test.
#ifndef ORMO_TESTS_SUPPORT_TEMP_DIRECTORY_H
#define ORMO_TESTS_SUPPORT_TEMP_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Ormo::Testing {

/// A new empty directory, removed with all that it holds.
class TempDirectory {
 public:
  TempDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ormo_test_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no temporary directory: " + pattern);
    }
    path_ = pattern;
  }

  ~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  const std::filesystem::path& Path() const { return path_; }

  /// Path of `name` in the directory.
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

/// One that holds the library's files. A profiled run ends with its pipe.
class HomeDirectory : public TempDirectory {
 public:
  HomeDirectory() {
    // NOLINTBEGIN(concurrency-mt-unsafe): no other thread asks for them
    setenv("HOME", Path().c_str(), 1);
    setenv("TARN_CACHE_PATH", Path().c_str(), 1);
    setenv("ORMO_PROF_END", "close", 1);
    // NOLINTEND(concurrency-mt-unsafe)
  }
};

/// The bytes of a file.
inline std::string ReadFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

inline void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_TEMP_DIRECTORY_H
