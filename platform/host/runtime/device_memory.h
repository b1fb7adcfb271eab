/// \file
/// Device memory: accounted for each device, kept in the CPU's memory.
#ifndef ORMO_HOST_RUNTIME_DEVICE_MEMORY_H
#define ORMO_HOST_RUNTIME_DEVICE_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "runtime/table.h"
#include "zel/zel.h"

namespace OrmoHost {

/// A piece of a device's memory, accounted as long as it lives.
class Block {
 public:
  /// Refuses when there is no room, of huge pages in particular if the policy insists on them.
  Block(uint32_t device, size_t size, zelrtMemMallocPolicy policy);
  ~Block();
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  uint32_t Device() const { return device_; }

  std::byte* Data() const { return data_; }

  size_t Size() const { return size_; }

  /// Whether `count` bytes from `address` lie in the block.
  bool Contains(const void* address, size_t count) const;

 private:
  uint32_t device_;
  size_t size_;
  size_t accounted_;
  bool isHuge_;
  std::byte* data_;
};

/// Bytes accounted on one device, and on all.
size_t UsedMemory(uint32_t device);
uint64_t UsedMemory();

/// The blocks that users hold, by address.
Table<Block>& UserBlocks();

/// The user's block that holds these bytes, or null.
std::shared_ptr<Block> FindUserBlock(const void* address, size_t count);

/// The same; refuses when there is none, or not on the device.
std::shared_ptr<Block> GetUserBlock(const void* address, size_t count, uint32_t device);

/// Whether any of these bytes lies in a user's block.
bool TouchesUserBlock(const void* address, size_t count);

}  // namespace OrmoHost

#endif  // ORMO_HOST_RUNTIME_DEVICE_MEMORY_H
