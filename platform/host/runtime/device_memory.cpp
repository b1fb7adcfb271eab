#include "runtime/device_memory.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <vector>

#include "control/lifetime.h"
#include "control/undying.h"
#include "runtime/machine.h"

namespace OrmoHost {
namespace {

/// Wide enough for every vector instruction.
constexpr size_t ALIGNMENT = 64;

/// A multiple of the unit that is not 0; 0 when there is none.
size_t RoundUp(size_t size) {
  if (size > std::numeric_limits<size_t>::max() - MEMORY_UNIT) {
    return 0;
  }
  return std::max(MEMORY_UNIT, (size + MEMORY_UNIT - 1) / MEMORY_UNIT * MEMORY_UNIT);
}

}  // namespace

Block::Block(uint32_t device, size_t size, size_t accounted, bool isHuge)
    : device_(device),
      size_(size),
      accounted_(accounted),
      isHuge_(isHuge),
      data_(static_cast<std::byte*>(std::aligned_alloc(ALIGNMENT, accounted))) {}

Block::~Block() {
  DeviceMemory::Instance().Return(*this);
}

bool Block::Contains(const void* address, size_t count) const {
  const auto* begin = static_cast<const std::byte*>(address);
  const std::byte* end = Data() + size_;
  return !std::less<>()(begin, Data()) && !std::less<>()(end, begin) &&
         count <= static_cast<size_t>(end - begin);
}

DeviceMemory& DeviceMemory::Instance() {
  static Undying<DeviceMemory> instance;
  return *instance;
}

std::shared_ptr<Block> DeviceMemory::Allocate(uint32_t device, size_t size,
                                              zelrtMemMallocPolicy policy) {
  size_t accounted = RoundUp(size);
  if (accounted == 0) {
    return nullptr;
  }
  bool isHuge = policy != ZEL_MEM_MALLOC_POLICY_2 && Account(device, accounted, true);
  if (!isHuge && (policy == ZEL_MEM_MALLOC_HUGE_ONLY || !Account(device, accounted, false))) {
    return nullptr;
  }
  std::shared_ptr<Block> block(new Block(device, size, accounted, isHuge));
  return block->Data() == nullptr ? nullptr : block;
}

bool DeviceMemory::Account(uint32_t device, size_t bytes, bool isHuge) {
  size_t total = Machine::Instance().MemorySize();
  size_t hugeTotal = Machine::Instance().HugePageSize();
  std::lock_guard<std::mutex> lock(mutex_);
  Usage& usage = usage_[device];
  if (usage.all > total || bytes > total - usage.all) {
    return false;
  }
  if (isHuge && (usage.huge > hugeTotal || bytes > hugeTotal - usage.huge)) {
    return false;
  }
  usage.all += bytes;
  usage.huge += isHuge ? bytes : 0;
  return true;
}

void DeviceMemory::Return(const Block& block) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto usage = usage_.find(block.device_);
  usage->second.all -= block.accounted_;
  usage->second.huge -= block.isHuge_ ? block.accounted_ : 0;
  if (usage->second.all == 0) {
    usage_.erase(usage);
  }
}

size_t DeviceMemory::Used(uint32_t device) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto usage = usage_.find(device);
  return usage == usage_.end() ? 0 : usage->second.all;
}

uint64_t DeviceMemory::UsedOverall() {
  std::lock_guard<std::mutex> lock(mutex_);
  uint64_t bytes = 0;
  for (const auto& [device, usage] : usage_) {
    bytes += usage.all;
  }
  return bytes;
}

bool DeviceMemory::GiveOut(const std::shared_ptr<Block>& block) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (IsHostClosed()) {
    return false;
  }
  blocks_.emplace(block->Data(), block);
  return true;
}

bool DeviceMemory::TakeBack(const void* address) {
  std::shared_ptr<Block> block;  // destroyed after the lock is given back: it returns its bytes
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = blocks_.find(static_cast<const std::byte*>(address));
  if (found == blocks_.end()) {
    return false;
  }
  block = std::move(found->second);
  blocks_.erase(found);
  return true;
}

std::shared_ptr<Block> DeviceMemory::Find(const void* address, size_t count) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto next = blocks_.upper_bound(static_cast<const std::byte*>(address));
  if (next == blocks_.begin()) {
    return nullptr;
  }
  const std::shared_ptr<Block>& block = std::prev(next)->second;
  return block->Contains(address, count) ? block : nullptr;
}

size_t DeviceMemory::TakeBackAll(std::optional<uint32_t> device) {
  std::vector<std::shared_ptr<Block>> taken;
  std::lock_guard<std::mutex> lock(mutex_);
  for (auto block = blocks_.begin(); block != blocks_.end();) {
    if (block->second->Device() == device.value_or(block->second->Device())) {
      taken.push_back(std::move(block->second));
      block = blocks_.erase(block);
    } else {
      ++block;
    }
  }
  return taken.size();
}

size_t DeviceMemory::BlockCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  return blocks_.size();
}

}  // namespace OrmoHost
