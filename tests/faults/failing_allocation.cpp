#include "faults/failing_allocation.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "ormo_host/control.h"

namespace {

std::atomic<bool> isArmed{false};
std::atomic<bool> isForPlatform{false};
std::atomic<int64_t> allocationsLeft{0};
std::atomic<int64_t> failuresInARow{1};

bool MustFail() {
  if (!isArmed || OrmoHost::IsInsideHost() != isForPlatform) {
    return false;
  }
  const int64_t left = allocationsLeft.fetch_sub(1);
  return left <= 1 && left > 1 - failuresInARow;
}

void* Allocate(std::size_t size) noexcept {
  return MustFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(std::size_t size) {
  void* memory = Allocate(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

// All that take no alignment, so that none of the standard library's own meets one of these.
void* operator new(std::size_t size) {
  return AllocateOrThrow(size);
}

void* operator new[](std::size_t size) {
  return AllocateOrThrow(size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocate(size);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete[](void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
  std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
  std::free(memory);
}

namespace Ormo::Testing {

FailingAllocation::FailingAllocation(int64_t nth, int64_t count, bool isPlatforms) {
  failuresInARow = count;
  allocationsLeft = nth;
  isForPlatform = isPlatforms;
  isArmed = true;
}

FailingAllocation::~FailingAllocation() {
  isArmed = false;
}

bool FailingAllocation::HasFailed() const {
  return allocationsLeft <= 0;
}

}  // namespace Ormo::Testing
