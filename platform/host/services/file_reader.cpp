#include "services/file_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>

namespace OrmoHost {
namespace {

class InputFile {
 public:
  // Not waiting for the writer of a pipe.
  explicit InputFile(const std::string& path)
      : descriptor_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {}

  ~InputFile() {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
  }

  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // Nothing when it is no ordinary file.
  std::optional<size_t> Size() const {
    struct stat status = {};
    bool isOrdinary =
        descriptor_ >= 0 && fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
    return isOrdinary ? std::optional(static_cast<size_t>(status.st_size)) : std::nullopt;
  }

  // Appends the next piece; 0 at the end, negative when that fails.
  ssize_t Append(std::string& text) const {
    std::array<char, 65536> piece;  // NOLINT(cppcoreguidelines-pro-type-member-init): read into
    ssize_t count = 0;
    do {
      count = read(descriptor_, piece.data(), piece.size());
    } while (count < 0 && errno == EINTR);
    text.append(piece.data(), static_cast<size_t>(std::max<ssize_t>(count, 0)));
    return count;
  }

 private:
  int descriptor_;
};

}  // namespace

std::string ReadFile(const std::string& path, size_t mostBytes,
                     void (*refuse)(const std::string& expected)) {
  InputFile file(path);
  std::optional<size_t> size = file.Size();
  std::string text;
  ssize_t count = size.has_value() ? 1 : -1;
  // A file may grow on the way, and some tell no size: what is read counts as well.
  while (count > 0 && std::max(*size, text.size()) <= mostBytes) {
    count = file.Append(text);
  }
  if (count < 0) {
    refuse("a readable file");
  }
  if (count > 0) {
    refuse("at most " + std::to_string(mostBytes) + " bytes");
  }
  return text;
}

}  // namespace OrmoHost
