#include "files.h"

#include <fstream>
#include <stdexcept>

namespace OrmoMeasure {

std::vector<char> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> bytes;
  while (file) {  // in pieces, since a pipe does not tell its size
    constexpr size_t PIECE = 1U << 20U;
    const size_t size = bytes.size();
    bytes.resize(size + PIECE);
    file.read(bytes.data() + size, PIECE);
    bytes.resize(size + static_cast<size_t>(file.gcount()));
  }
  if (!file.eof() || file.bad()) {
    throw std::runtime_error(path + " cannot be read");
  }
  if (bytes.empty()) {
    throw std::runtime_error(path + " is empty");
  }
  return bytes;
}

void WriteFile(const std::string& path, const std::vector<char>& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) {
    throw std::runtime_error(path + " cannot be written");
  }
}

}  // namespace OrmoMeasure
