#include "simulator/dux_file.h"

#include <filesystem>
#include <fstream>
#include <system_error>

namespace OrmoHost {

std::string ReadDuxFile(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {  // to open a pipe would wait for its writer
    throw DuxError("expected a file");
  }
  const uintmax_t size = std::filesystem::file_size(path, error);
  if (error || size > MAX_DUX_FILE_SIZE) {
    throw DuxError("expected at most " + std::to_string(MAX_DUX_FILE_SIZE) + " bytes");
  }
  std::string text(size, '\0');
  std::ifstream stream(path, std::ios::binary);
  if (!stream.read(text.data(), static_cast<std::streamsize>(size))) {
    throw DuxError("expected a readable file");
  }
  return text;
}

}  // namespace OrmoHost
