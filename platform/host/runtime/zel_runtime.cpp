#include <cstring>

#include "control/host_call.h"
#include "control/lifetime.h"
#include "runtime/codes.h"
#include "runtime/device_memory.h"
#include "runtime/machine.h"
#include "runtime/runtime.h"
#include "zel/zel.h"

using OrmoHost::Block;
using OrmoHost::Context;
using OrmoHost::DeviceMemory;
using OrmoHost::HostCall;
using OrmoHost::Machine;
using OrmoHost::Runtime;

int32_t zelInit(const char* /*configPath*/) {
  HostCall call("zelInit");
  int32_t code = call.Fails();
  return code != 0 ? code : Runtime::Instance().Init();
}

int32_t zelFinalize() {
  HostCall call("zelFinalize");
  int32_t code = Runtime::Instance().Finalize();
  if (code == OrmoHost::SUCCESS) {
    OrmoHost::ReleasePlatform();
  }
  return call.After(code);
}

int32_t zelrtGetDeviceCount(uint32_t* count) {
  HostCall call("zelrtGetDeviceCount");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (count == nullptr) {
    return OrmoHost::INVALID_ARGUMENT;
  }
  if (!Runtime::Instance().IsInitialized()) {
    return OrmoHost::NOT_INITIALIZED;
  }
  *count = Machine::Instance().DeviceCount();
  return OrmoHost::SUCCESS;
}

int32_t zelrtSetDevice(uint32_t deviceId) {
  HostCall call("zelrtSetDevice");
  int32_t code = call.Fails();
  return code != 0 ? code : Runtime::Instance().SetDevice(deviceId);
}

int32_t zelrtResetDevice(uint32_t deviceId) {
  HostCall call("zelrtResetDevice");
  bool isLast = false;
  int32_t code = Runtime::Instance().ResetDevice(deviceId, isLast);
  if (isLast) {
    OrmoHost::ReleaseDevice(deviceId);
  }
  return call.After(code);
}

int32_t zelrtCreateContext(zelrtContext* context, uint32_t deviceId) {
  HostCall call("zelrtCreateContext");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (context == nullptr) {
    return OrmoHost::INVALID_ARGUMENT;
  }
  return Runtime::Instance().CreateContext(deviceId, *context);
}

int32_t zelrtSetCurrentContext(zelrtContext context) {
  HostCall call("zelrtSetCurrentContext");
  int32_t code = call.Fails();
  return code != 0 ? code : Runtime::Instance().SetCurrentContext(context);
}

int32_t zelrtDestroyContext(zelrtContext context) {
  HostCall call("zelrtDestroyContext");
  return call.After(Runtime::Instance().DestroyContext(context));
}

const char* zelrtGetSocName() {
  HostCall call("zelrtGetSocName");
  return call.Fails() != 0 ? nullptr : Machine::Instance().SocName();
}

int32_t zelrtSetOpExecuteTimeOut(uint32_t timeout) {
  HostCall call("zelrtSetOpExecuteTimeOut");
  if (int32_t code = call.Fails()) {
    return code;
  }
  std::shared_ptr<Context> context = Runtime::Instance().CurrentContext();
  if (context == nullptr) {
    return OrmoHost::NO_CONTEXT;
  }
  context->opTimeout = timeout;
  return OrmoHost::SUCCESS;
}

int32_t zelrtMalloc(void** devPtr, size_t size, zelrtMemMallocPolicy policy) {
  HostCall call("zelrtMalloc");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (devPtr == nullptr) {
    return OrmoHost::INVALID_ARGUMENT;
  }
  std::shared_ptr<Context> context = Runtime::Instance().CurrentContext();
  if (context == nullptr) {
    return OrmoHost::NO_CONTEXT;
  }
  std::shared_ptr<Block> block = DeviceMemory::Instance().Allocate(context->device, size, policy);
  if (block == nullptr || !DeviceMemory::Instance().GiveOut(block)) {
    return ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION;
  }
  *devPtr = block->Data();
  return OrmoHost::SUCCESS;
}

int32_t zelrtFree(void* devPtr) {
  HostCall call("zelrtFree");
  bool wasAlive = DeviceMemory::Instance().TakeBack(devPtr);
  return call.After(wasAlive ? OrmoHost::SUCCESS : OrmoHost::UNKNOWN_ADDRESS);
}

int32_t zelrtMemset(void* devPtr, size_t maxCount, int32_t value, size_t count) {
  HostCall call("zelrtMemset");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (Runtime::Instance().CurrentContext() == nullptr) {
    return OrmoHost::NO_CONTEXT;
  }
  if (count > maxCount) {
    return OrmoHost::OUT_OF_RANGE;
  }
  std::shared_ptr<Block> block = DeviceMemory::Instance().Find(devPtr, count);
  if (block == nullptr) {
    return OrmoHost::UNKNOWN_ADDRESS;
  }
  std::memset(devPtr, value, count);
  return OrmoHost::SUCCESS;
}

int32_t zelrtMemcpy(void* dst, size_t destMax, const void* src, size_t count,
                    zelrtMemcpyKind kind) {
  HostCall call("zelrtMemcpy");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (Runtime::Instance().CurrentContext() == nullptr) {
    return OrmoHost::NO_CONTEXT;
  }
  if (count > destMax) {
    return OrmoHost::OUT_OF_RANGE;
  }
  if (dst == nullptr || src == nullptr ||
      (kind != ZEL_MEMCPY_HOST_TO_DEVICE && kind != ZEL_MEMCPY_DEVICE_TO_HOST)) {
    return OrmoHost::INVALID_ARGUMENT;
  }
  const void* deviceSide = kind == ZEL_MEMCPY_HOST_TO_DEVICE ? dst : src;
  std::shared_ptr<Block> block = DeviceMemory::Instance().Find(deviceSide, count);
  if (block == nullptr) {
    return OrmoHost::UNKNOWN_ADDRESS;
  }
  std::memmove(dst, src, count);
  return OrmoHost::SUCCESS;
}

int32_t zelrtGetMemInfo(zelrtMemAttr attr, size_t* free, size_t* total) {
  HostCall call("zelrtGetMemInfo");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (free == nullptr || total == nullptr) {
    return OrmoHost::INVALID_ARGUMENT;
  }
  std::optional<uint32_t> device = Runtime::Instance().CurrentDevice();
  if (!device.has_value()) {
    return OrmoHost::DEVICE_NOT_SET;
  }
  if (attr != Machine::Instance().MemoryKind()) {
    return OrmoHost::NO_SUCH_MEMORY;
  }
  size_t used = DeviceMemory::Instance().Used(*device);
  *total = Machine::Instance().MemorySize();
  *free = *total > used ? *total - used : 0;
  return OrmoHost::SUCCESS;
}
