#include "runtime/device_memory.h"

#include <algorithm>
#include <limits>
#include <map>
#include <mutex>

#include "runtime/machine.h"
#include "seam/single.h"

namespace OrmoHost {
namespace {

// Every block counts as a multiple of this, a block of no bytes included.
constexpr size_t UNIT = 512;
// Wide enough for every vector instruction.
constexpr size_t ALIGNMENT = 64;

struct Usage {
  size_t all = 0;
  size_t huge = 0;
};

struct Accounts {
  std::mutex mutex;
  std::map<uint32_t, Usage> usage;
};

size_t RoundUp(size_t size) {
  Require(size <= std::numeric_limits<size_t>::max() - UNIT, ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION);
  return std::max(UNIT, (size + UNIT - 1) / UNIT * UNIT);
}

bool Fits(size_t bytes, size_t used, size_t total) {
  return used <= total && bytes <= total - used;
}

// Takes bytes from a device's account and tells whether they come from its huge pages.
bool Account(uint32_t device, size_t bytes, zelrtMemMallocPolicy policy) {
  Machine machine = CurrentMachine();
  auto& accounts = Single<Accounts>();
  const std::lock_guard<std::mutex> lock(accounts.mutex);
  Usage& usage = accounts.usage[device];
  bool isHuge = policy != ZEL_MEM_MALLOC_POLICY_2 && Fits(bytes, usage.huge, machine.hugePageSize);
  bool isAllowed = isHuge || policy != ZEL_MEM_MALLOC_HUGE_ONLY;
  Require(isAllowed && Fits(bytes, usage.all, machine.memorySize),
          ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION);
  usage.all += bytes;
  usage.huge += isHuge ? bytes : 0;
  return isHuge;
}

void Return(uint32_t device, size_t bytes, bool isHuge) {
  auto& accounts = Single<Accounts>();
  const std::lock_guard<std::mutex> lock(accounts.mutex);
  auto usage = accounts.usage.find(device);
  usage->second.all -= bytes;
  usage->second.huge -= isHuge ? bytes : 0;
  if (usage->second.all == 0) {
    accounts.usage.erase(usage);
  }
}

}  // namespace

Block::Block(uint32_t device, size_t size, zelrtMemMallocPolicy policy)
    : device_(device),
      size_(size),
      accounted_(RoundUp(size)),
      isHuge_(Account(device, accounted_, policy)),
      data_(static_cast<std::byte*>(std::aligned_alloc(ALIGNMENT, accounted_))) {
  if (data_ == nullptr) {
    Return(device_, accounted_, isHuge_);
    throw Refusal(ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION);
  }
}

Block::~Block() {
  free(data_);
  Return(device_, accounted_, isHuge_);
}

bool Block::Contains(const void* address, size_t count) const {
  auto offset = reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(data_);
  return offset <= size_ && count <= size_ - offset;
}

size_t UsedMemory(uint32_t device) {
  auto& accounts = Single<Accounts>();
  const std::lock_guard<std::mutex> lock(accounts.mutex);
  auto usage = accounts.usage.find(device);
  return usage == accounts.usage.end() ? 0 : usage->second.all;
}

uint64_t UsedMemory() {
  auto& accounts = Single<Accounts>();
  const std::lock_guard<std::mutex> lock(accounts.mutex);
  uint64_t bytes = 0;
  for (const auto& [device, usage] : accounts.usage) {
    bytes += usage.all;
  }
  return bytes;
}

Table<Block>& UserBlocks() {
  return Single<Table<Block>>();
}

std::shared_ptr<Block> FindUserBlock(const void* address, size_t count) {
  std::shared_ptr<Block> block = UserBlocks().FindUpTo(reinterpret_cast<uintptr_t>(address));
  return block != nullptr && block->Contains(address, count) ? block : nullptr;
}

std::shared_ptr<Block> GetUserBlock(const void* address, size_t count, uint32_t device) {
  std::shared_ptr<Block> block = FindUserBlock(address, count);
  Require(block != nullptr, UNKNOWN_ADDRESS);
  Require(block->Device() == device, WRONG_DEVICE);
  return block;
}

bool TouchesUserBlock(const void* address, size_t count) {
  auto start = reinterpret_cast<uintptr_t>(address);
  // Blocks do not overlap: of those that begin before the end, the last one reaches farthest.
  std::shared_ptr<Block> last = UserBlocks().FindUpTo(start + std::max<size_t>(count, 1) - 1);
  return last != nullptr && reinterpret_cast<uintptr_t>(last->Data()) + last->Size() > start;
}

}  // namespace OrmoHost
