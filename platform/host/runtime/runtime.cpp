#include "runtime/runtime.h"

#include "runtime/machine.h"
#include "seam/single.h"

namespace OrmoHost {

thread_local Current current{};

uintptr_t NextHandle() {
  // Steps of 16, as if allocated; far from the null page.
  static std::atomic<uintptr_t> last{0x100000};
  return last += 16;
}

std::shared_ptr<Context> GetCurrentContext() {
  std::shared_ptr<Context> context = Single<Contexts>().Find(current.context);
  Require(context != nullptr, NO_CONTEXT);
  return context;
}

uint32_t GetCurrentDevice() {
  if (std::shared_ptr<Context> context = Single<Contexts>().Find(current.context)) {
    return context->device;
  }
  Require(current.hasDevice, DEVICE_NOT_SET);
  Single<Runtime>().RequireSet(current.device);
  return current.device;
}

void Runtime::Init() {
  const std::lock_guard<std::mutex> lock(mutex_);
  RequireOpen();
  Require(!isInitialized_, ZEL_ERROR_REPEAT_INITIALIZE);
  isInitialized_ = true;
}

void Runtime::Finalize() {
  const std::lock_guard<std::mutex> lock(mutex_);
  Require(isInitialized_, NOT_INITIALIZED);
  isInitialized_ = false;
}

void Runtime::RequireInitialized() {
  const std::lock_guard<std::mutex> lock(mutex_);
  Require(isInitialized_, NOT_INITIALIZED);
}

void Runtime::SetDevice(uint32_t device) {
  RequireInitialized();
  Require(device < CurrentMachine().deviceCount, UNKNOWN_DEVICE);
  const std::lock_guard<std::mutex> lock(mutex_);
  ++deviceSets_[device];
}

bool Runtime::ResetDevice(uint32_t device) {
  const std::lock_guard<std::mutex> lock(mutex_);
  auto sets = deviceSets_.find(device);
  Require(sets != deviceSets_.end(), DEVICE_NOT_SET);
  if (--sets->second != 0) {
    return false;
  }
  deviceSets_.erase(sets);
  return true;
}

void Runtime::RequireSet(uint32_t device) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Require(deviceSets_.count(device) != 0, DEVICE_NOT_SET);
}

size_t Runtime::DeviceSetCount() {
  const std::lock_guard<std::mutex> lock(mutex_);
  size_t count = 0;
  for (const auto& [device, sets] : deviceSets_) {
    count += sets;
  }
  return count;
}

size_t Runtime::Clear() {
  size_t sets = DeviceSetCount();
  const std::lock_guard<std::mutex> lock(mutex_);
  isInitialized_ = false;
  Forget(deviceSets_);
  return sets;
}

}  // namespace OrmoHost
