/// \file
/// Owners of descriptors.
#ifndef ORMO_COMMON_FILE_DESCRIPTOR_H
#define ORMO_COMMON_FILE_DESCRIPTOR_H

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "common/utils.h"

namespace Ormo {

/// Owns a descriptor (-1: none) and closes it once.
class FileDescriptor {
 public:
  FileDescriptor() = default;

  explicit FileDescriptor(int fd) noexcept : fd_(fd) {}

  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      Reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }

  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  ~FileDescriptor() { Reset(); }

  int Get() const noexcept { return fd_; }

  explicit operator bool() const noexcept { return fd_ >= 0; }

  /// Where the descriptor stands, for interfaces that read it through a pointer. Whoever closes it
  /// there sets it to -1.
  int* Address() noexcept { return &fd_; }

  /// Gives the descriptor up without closing it.
  int Detach() noexcept { return std::exchange(fd_, -1); }

  void Reset() noexcept { Utils::Close(fd_); }

 private:
  int fd_ = -1;
};

/// Both ends of a pipe.
struct Pipe {
  /// A new pipe that is closed on exec; without ends, and with the reason in errno, on failure.
  static Pipe Open() noexcept {
    int ends[2] = {};
    if (pipe2(ends, O_CLOEXEC) != 0) {
      return {};
    }
    return {FileDescriptor(ends[1]), FileDescriptor(ends[0])};
  }

  explicit operator bool() const noexcept { return static_cast<bool>(readEnd); }

  FileDescriptor writeEnd;
  FileDescriptor readEnd;  ///< closed first
};

}  // namespace Ormo

#endif  // ORMO_COMMON_FILE_DESCRIPTOR_H
