/// \file
/// Device memory: accounted for each device, kept in the CPU's memory.
#ifndef ORMO_HOST_RUNTIME_DEVICE_MEMORY_H
#define ORMO_HOST_RUNTIME_DEVICE_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "zel/zel.h"

namespace OrmoHost {

/// Every allocation counts as a multiple of this.
constexpr size_t MEMORY_UNIT = 512;

/// A piece of a device's memory, accounted as long as it lives.
class Block {
 public:
  ~Block();
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  uint32_t Device() const { return device_; }

  std::byte* Data() const { return data_.get(); }

  size_t Size() const { return size_; }

  /// Whether `count` bytes from `address` lie in the block.
  bool Contains(const void* address, size_t count) const;

 private:
  friend class DeviceMemory;

  struct Freeing {
    void operator()(std::byte* data) const { free(data); }
  };

  Block(uint32_t device, size_t size, size_t accounted, bool isHuge);

  uint32_t device_;
  size_t size_;
  size_t accounted_;
  bool isHuge_;
  std::unique_ptr<std::byte, Freeing> data_;
};

/// The memory of all devices, and the blocks that were given out by address.
class DeviceMemory {
 public:
  static DeviceMemory& Instance();

  /// Null when there is no room, of huge pages in particular if the policy insists on them.
  std::shared_ptr<Block> Allocate(uint32_t device, size_t size, zelrtMemMallocPolicy policy);
  size_t Used(uint32_t device);

  /// Gives a block out under its address; false once the host has closed.
  bool GiveOut(const std::shared_ptr<Block>& block);
  bool TakeBack(const void* address);
  /// The block that was given out and holds these bytes, or null.
  std::shared_ptr<Block> Find(const void* address, size_t count);

  /// Takes back the blocks of one device or of all; returns how many those were.
  size_t TakeBackAll(std::optional<uint32_t> device);
  size_t BlockCount();
  uint64_t UsedOverall();

 private:
  friend class Block;

  struct Usage {
    size_t all = 0;
    size_t huge = 0;
  };

  bool Account(uint32_t device, size_t bytes, bool isHuge);
  void Return(const Block& block);

  std::mutex mutex_;
  std::map<uint32_t, Usage> usage_;
  std::map<const std::byte*, std::shared_ptr<Block>> blocks_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_RUNTIME_DEVICE_MEMORY_H
