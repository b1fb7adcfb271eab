#include <cstring>

#include "runtime/device_memory.h"
#include "runtime/machine.h"
#include "runtime/runtime.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "zel/zel.h"

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

int32_t zelInit(const char* /*configPath*/) {
  return Attempt("zelInit", [] { Single<Runtime>().Init(); });
}

int32_t zelrtGetDeviceCount(uint32_t* count) {
  return Attempt("zelrtGetDeviceCount", [&] {
    Single<Runtime>().RequireInitialized();
    Require(count != nullptr, INVALID_ARGUMENT);
    *count = CurrentMachine().deviceCount;
  });
}

int32_t zelrtSetDevice(uint32_t deviceId) {
  return Attempt("zelrtSetDevice", [&] {
    Note(deviceId);
    Single<Runtime>().SetDevice(deviceId);
    current = {nullptr, deviceId, true};
  });
}

int32_t zelrtCreateContext(zelrtContext* context, uint32_t deviceId) {
  return Attempt("zelrtCreateContext", [&] {
    Note(deviceId);
    Require(context != nullptr, INVALID_ARGUMENT);
    Single<Runtime>().RequireSet(deviceId);
    *context = Single<Contexts>().Make(deviceId);
    current.context = *context;
  });
}

int32_t zelrtSetCurrentContext(zelrtContext context) {
  return Attempt("zelrtSetCurrentContext", [&] {
    Note("device", Single<Contexts>().Get(context)->device);
    current.context = context;
  });
}

int32_t zelrtDestroyContext(zelrtContext context) {
  return Release("zelrtDestroyContext", [&] { Single<Contexts>().Remove(context); });
}

const char* zelrtGetSocName() {
  return Attempt("zelrtGetSocName", [] { return CurrentMachine().socName; });
}

int32_t zelrtSetOpExecuteTimeOut(uint32_t timeout) {
  return Attempt("zelrtSetOpExecuteTimeOut", [&] {
    Note(timeout);
    GetCurrentContext()->opTimeout = timeout;
  });
}

int32_t zelrtMalloc(void** devPtr, size_t size, zelrtMemMallocPolicy policy) {
  return Attempt("zelrtMalloc", [&] {
    Note(size, policy);
    Require(devPtr != nullptr, INVALID_ARGUMENT);
    auto block = std::make_shared<Block>(GetCurrentContext()->device, size, policy);
    UserBlocks().Add(reinterpret_cast<uintptr_t>(block->Data()), block);
    *devPtr = block->Data();
  });
}

int32_t zelrtFree(void* devPtr) {
  return Release("zelrtFree", [&] {
    Require(UserBlocks().Take(reinterpret_cast<uintptr_t>(devPtr)) != nullptr, UNKNOWN_ADDRESS);
  });
}

int32_t zelrtMemset(void* devPtr, size_t maxCount, int32_t value, size_t count) {
  return Attempt("zelrtMemset", [&] {
    Note(maxCount, value, count);
    uint32_t device = GetCurrentContext()->device;
    Require(count <= maxCount, OUT_OF_RANGE);
    std::shared_ptr<Block> block = GetUserBlock(devPtr, count, device);
    std::memset(devPtr, value, count);
  });
}

int32_t zelrtMemcpy(void* dst, size_t destMax, const void* src, size_t count,
                    zelrtMemcpyKind kind) {
  return Attempt("zelrtMemcpy", [&] {
    Note(destMax, count, kind);
    uint32_t device = GetCurrentContext()->device;
    Require(count <= destMax, OUT_OF_RANGE);
    bool isToDevice = kind == ZEL_MEMCPY_HOST_TO_DEVICE;
    bool isKnownKind = isToDevice || kind == ZEL_MEMCPY_DEVICE_TO_HOST;
    Require(dst != nullptr && src != nullptr && isKnownKind, INVALID_ARGUMENT);
    std::shared_ptr<Block> block = GetUserBlock(isToDevice ? dst : src, count, device);
    Require(!TouchesUserBlock(isToDevice ? src : dst, count), INVALID_ARGUMENT);
    std::memmove(dst, src, count);
  });
}

int32_t zelrtGetMemInfo(zelrtMemAttr attr, size_t* free, size_t* total) {
  return Attempt("zelrtGetMemInfo", [&] {
    Note(attr);
    Require(free != nullptr && total != nullptr, INVALID_ARGUMENT);
    size_t used = UsedMemory(GetCurrentDevice());
    Machine machine = CurrentMachine();
    Require(attr == machine.memoryKind, NO_SUCH_MEMORY);
    *total = machine.memorySize;
    *free = machine.memorySize > used ? machine.memorySize - used : 0;
  });
}

int32_t zelrtSynchronizeStream(zelrtStream stream) {
  return Attempt("zelrtSynchronizeStream", [&] {
    GetCurrentContext();
    Require(stream == nullptr, UNKNOWN_HANDLE);  // nothing makes any other
  });
}
