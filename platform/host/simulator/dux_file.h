/// \file
/// Kernel files on disk.
#ifndef ORMO_HOST_SIMULATOR_DUX_FILE_H
#define ORMO_HOST_SIMULATOR_DUX_FILE_H

#include <cstddef>
#include <stdexcept>
#include <string>

namespace OrmoHost {

/// Why there is no kernel: what was expected, and where.
class DuxError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

constexpr size_t MAX_DUX_FILE_SIZE = 1U << 20U;

/// The text of a kernel file. Throws a DuxError when it is no ordinary file of a size that a kernel
/// may have; it costs nothing to refuse a larger one.
std::string ReadDuxFile(const std::string& path);

}  // namespace OrmoHost

#endif  // ORMO_HOST_SIMULATOR_DUX_FILE_H
