#include "model/fake_device.h"

#include <cstdio>

#include "zel/zel.h"
#include "zel/zel_mdl.h"

namespace Ormo::Testing {

FakeDevice& Device() {
  static FakeDevice device;
  return device;
}

namespace {

constexpr uint32_t MODEL_ID = 12;

int32_t Answer(const std::string& call) {
  Device().calls.push_back(call);
  const std::string& failing = Device().failingCalls;
  return !failing.empty() && call.find(failing) != std::string::npos ? Device().code : 0;
}

int32_t Load(const std::string& call, uint32_t* modelId) {
  const int32_t code = Answer(call);
  if (code == 0) {
    *modelId = MODEL_ID;
  }
  return code;
}

}  // namespace
}  // namespace Ormo::Testing

using Ormo::Testing::Answer;
using Ormo::Testing::Device;
using Ormo::Testing::Load;

extern "C" {

int32_t zelrtMalloc(void** devPtr, size_t size, zelrtMemMallocPolicy policy) {
  const char* name = policy == ZEL_MEM_MALLOC_HUGE_ONLY ? "huge-only" : "huge-first";
  const int32_t code = Answer(std::string("malloc ") + name + " " + std::to_string(size));
  if (code == 0) {
    ++Device().allocated;
    *devPtr = new char;
  }
  return code;
}

int32_t zelrtFree(void* devPtr) {
  --Device().allocated;
  delete static_cast<char*>(devPtr);
  return Answer("free");
}

int32_t zelrtGetMemInfo(zelrtMemAttr attr, size_t* free, size_t* total) {
  *free = Device().freeMemory;
  *total = Device().totalMemory;
  return Answer(attr == ZEL_DDR_MEM ? "memory ddr" : "memory hbm");
}

int32_t zelmdlQuerySizeFromMem(const void* /*model*/, size_t /*modelSize*/, size_t* workSize,
                               size_t* weightSize) {
  *workSize = Device().workSize;
  *weightSize = Device().weightSize;
  return Answer("query");
}

int32_t zelmdlLoadFromFile(const char* modelPath, uint32_t* modelId) {
  return Load(std::string("load file ") + modelPath, modelId);
}

int32_t zelmdlLoadFromMem(const void* /*model*/, size_t /*modelSize*/, uint32_t* modelId) {
  return Load("load", modelId);
}

int32_t zelmdlLoadFromMemWithMem(const void* /*model*/, size_t /*modelSize*/, uint32_t* modelId,
                                 void* /*workPtr*/, size_t /*workSize*/, void* /*weightPtr*/,
                                 size_t /*weightSize*/) {
  return Load("load into memory", modelId);
}

int32_t zelmdlUnload(uint32_t /*modelId*/) {
  return Answer("unload");
}

// The page cache of the machine that runs the tests stays as it is.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's are reserved
FILE* popen(const char* command, const char* /*mode*/) {
  if (Answer(std::string("popen ") + command) != 0) {
    return nullptr;
  }
  Device().freeMemory += Device().cachedMemory;
  return fopen("/dev/null", "re");
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's are reserved
int pclose(FILE* stream) {
  return fclose(stream);
}

}  // extern "C"
