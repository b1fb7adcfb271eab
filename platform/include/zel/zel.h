/// \file
/// The platform's runtime: initialisation, devices, contexts and device memory.
///
/// Functions return 0 for success and a platform code otherwise. A "current" device and a "current"
/// context belong to the calling thread.
#ifndef ZEL_ZEL_H
#define ZEL_ZEL_H

#include <cstddef>
#include <cstdint>

/// zelInit was called before in this process, by whomever.
constexpr int32_t ZEL_ERROR_REPEAT_INITIALIZE = 100002;
/// The platform's software is not deployed on this machine.
constexpr int32_t ZEL_ERROR_ENVIRONMENT_NOT_DEPLOYED = 507008;
/// Two codes for one thing: a device allocation found no room.
constexpr int32_t ZEL_ERROR_DEVICE_MEMORY_ALLOCATION = 245000;
constexpr int32_t ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION = 207001;

typedef void* zelrtContext;
/// A null stream is the context's default stream.
typedef void* zelrtStream;

enum zelrtMemMallocPolicy : int32_t {
  ZEL_MEM_MALLOC_HUGE_FIRST = 0,  ///< huge pages, ordinary pages when there are none
  ZEL_MEM_MALLOC_HUGE_ONLY = 1,   ///< huge pages or failure
  ZEL_MEM_MALLOC_POLICY_2 = 2,    ///< ordinary pages
};

enum zelrtMemAttr : int32_t {
  ZEL_DDR_MEM = 0,
  ZEL_HBM_MEM = 1,
};

enum zelrtMemcpyKind : int32_t {
  ZEL_MEMCPY_HOST_TO_DEVICE = 1,
  ZEL_MEMCPY_DEVICE_TO_HOST = 2,
};

extern "C" {

/// Initialises the platform for the process. `configPath` may be empty.
/// Answers ZEL_ERROR_REPEAT_INITIALIZE until zelFinalize is called.
int32_t zelInit(const char* configPath);

/// Ends the platform for the process and releases all that it still holds for it: contexts, models,
/// device memory, subscriptions. Worker threads that used it may still be alive.
int32_t zelFinalize();

/// Writes the number of devices; 0 devices is no failure. Needs zelInit.
int32_t zelrtGetDeviceCount(uint32_t* count);

/// Makes `deviceId` the calling thread's device. Sets are counted per device and balanced by
/// zelrtResetDevice.
int32_t zelrtSetDevice(uint32_t deviceId);

/// Takes back one zelrtSetDevice, possibly of another thread; the last one releases the device.
int32_t zelrtResetDevice(uint32_t deviceId);

/// Creates a context on `deviceId`, owned by the caller, and makes it current on the calling
/// thread.
int32_t zelrtCreateContext(zelrtContext* context, uint32_t deviceId);

/// Makes `context` current on the calling thread, and its device with it. A context that is gone is
/// an error, never a crash.
int32_t zelrtSetCurrentContext(zelrtContext context);

/// Destroys a context, on any thread.
int32_t zelrtDestroyContext(zelrtContext context);

/// The chip's name, a static text, or null when it is not known. Also before zelInit.
const char* zelrtGetSocName();

/// Sets the time-out of operator executions of the current context.
int32_t zelrtSetOpExecuteTimeOut(uint32_t timeout);

/// Allocates `size` bytes on the current context's device, released by zelrtFree. `size` 0 succeeds
/// with an address of its own. Answers ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION when there is no room.
int32_t zelrtMalloc(void** devPtr, size_t size, zelrtMemMallocPolicy policy);

/// Frees what zelrtMalloc gave. An unknown address is an error, never a crash.
int32_t zelrtFree(void* devPtr);

/// Sets `count` bytes of the current context's device to `value`; fails when `count` exceeds
/// `maxCount`.
int32_t zelrtMemset(void* devPtr, size_t maxCount, int32_t value, size_t count);

/// Copies `count` bytes between the host and the current context's device; fails when `count`
/// exceeds `destMax`, for memory of another device, and for device memory in the host's place.
int32_t zelrtMemcpy(void* dst, size_t destMax, const void* src, size_t count, zelrtMemcpyKind kind);

/// Free and total bytes of the current device's memory of that kind; fails for a kind that the chip
/// does not have.
int32_t zelrtGetMemInfo(zelrtMemAttr attr, size_t* free, size_t* total);

/// Waits until all that was started on `stream` has ended. Needs a current context.
int32_t zelrtSynchronizeStream(zelrtStream stream);

}  // extern "C"

#endif  // ZEL_ZEL_H
