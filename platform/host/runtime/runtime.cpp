#include "runtime/runtime.h"

#include "control/undying.h"
#include "runtime/codes.h"
#include "runtime/machine.h"

namespace OrmoHost {

thread_local Runtime::Current Runtime::current_{};

void* NextHandle() {
  // Steps of 16, as if allocated; far from the null page.
  static std::atomic<uintptr_t> last{0x100000};
  return reinterpret_cast<void*>(last += 16);  // NOLINT(performance-no-int-to-ptr)
}

Runtime& Runtime::Instance() {
  static Undying<Runtime> instance;
  return *instance;
}

int32_t Runtime::Init() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (IsHostClosed()) {
    return NOT_INITIALIZED;
  }
  if (isInitialized_) {
    return ZEL_ERROR_REPEAT_INITIALIZE;
  }
  isInitialized_ = true;
  return SUCCESS;
}

int32_t Runtime::Finalize() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!isInitialized_) {
    return NOT_INITIALIZED;
  }
  isInitialized_ = false;
  return SUCCESS;
}

bool Runtime::IsInitialized() {
  std::lock_guard<std::mutex> lock(mutex_);
  return isInitialized_;
}

int32_t Runtime::SetDevice(uint32_t device) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!isInitialized_) {
    return NOT_INITIALIZED;
  }
  if (device >= Machine::Instance().DeviceCount()) {
    return UNKNOWN_DEVICE;
  }
  ++deviceSets_[device];
  current_ = {nullptr, device, true};
  return SUCCESS;
}

int32_t Runtime::ResetDevice(uint32_t device, bool& isLast) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto sets = deviceSets_.find(device);
  if (sets == deviceSets_.end()) {
    return DEVICE_NOT_SET;
  }
  isLast = --sets->second == 0;
  if (isLast) {
    deviceSets_.erase(sets);
  }
  return SUCCESS;
}

int32_t Runtime::CreateContext(uint32_t device, zelrtContext& context) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (deviceSets_.count(device) == 0) {
      return DEVICE_NOT_SET;
    }
  }
  auto created = std::make_shared<Context>();
  created->device = device;
  zelrtContext handle = contexts_.Add(std::move(created));
  if (handle == nullptr) {
    return NOT_INITIALIZED;
  }
  context = handle;
  current_.context = handle;
  return SUCCESS;
}

int32_t Runtime::SetCurrentContext(zelrtContext context) {
  if (contexts_.Find(context) == nullptr) {
    return UNKNOWN_HANDLE;
  }
  current_.context = context;
  return SUCCESS;
}

int32_t Runtime::DestroyContext(zelrtContext context) {
  return contexts_.Remove(context) == nullptr ? UNKNOWN_HANDLE : SUCCESS;
}

std::shared_ptr<Context> Runtime::CurrentContext() {
  return contexts_.Find(current_.context);
}

std::optional<uint32_t> Runtime::CurrentDevice() {
  if (std::shared_ptr<Context> context = CurrentContext()) {
    return context->device;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  if (current_.hasDevice && deviceSets_.count(current_.device) != 0) {
    return current_.device;
  }
  return std::nullopt;
}

size_t Runtime::RemoveContexts(std::optional<uint32_t> device) {
  return contexts_.RemoveIf(
      [&](const Context& context) { return context.device == device.value_or(context.device); });
}

size_t Runtime::ContextCount() {
  return contexts_.Size();
}

size_t Runtime::DeviceSetCount() {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t count = 0;
  for (const auto& [device, sets] : deviceSets_) {
    count += sets;
  }
  return count;
}

size_t Runtime::Clear() {
  size_t sets = DeviceSetCount();
  std::lock_guard<std::mutex> lock(mutex_);
  isInitialized_ = false;
  deviceSets_ = {};
  return sets;
}

}  // namespace OrmoHost
