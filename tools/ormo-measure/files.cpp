#include "files.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace OrmoMeasure {

std::vector<char> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file) {
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
