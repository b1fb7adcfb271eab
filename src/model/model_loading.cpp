#include "model/model_loading.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>

#include "common/call_context.h"
#include "common/log.h"
#include "common/platform_handles.h"
#include "common/scope_exit.h"
#include "common/status_translation.h"
#include "model/chip_tables.h"
#include "ormo/status.h"
#include "zel/zel.h"
#include "zel/zel_mdl.h"

namespace Ormo {
namespace {

// Sizes that huge pages are asked for, both ends included: smaller ones waste them, larger ones get
// them anyway.
constexpr size_t MIN_HUGE_ONLY_SIZE = 4096;
constexpr size_t MAX_HUGE_ONLY_SIZE = 1048576;

constexpr size_t DDR_RESERVED_SIZE = 1073741824;
constexpr double HBM_RESERVED_SHARE = 0.01;

constexpr char CLEAN_CACHE_COMMAND[] = "echo 3 > /proc/sys/vm/drop_caches";

bool IsHugeOnlySize(size_t size) {
  return MIN_HUGE_ONLY_SIZE <= size && size <= MAX_HUGE_ONLY_SIZE;
}

bool StartsWith(const std::string& text, std::string_view prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

template <typename Prefixes>
bool StartsWithAny(const std::string& text, const Prefixes& prefixes) {
  return std::any_of(prefixes.begin(), prefixes.end(),
                     [&text](std::string_view prefix) { return StartsWith(text, prefix); });
}

bool IsMemoryChecked(const std::string& socVersion) {
  return StartsWith(socVersion, MEM_CHECK_SOC_PREFIX) ||
         std::find(MEM_CHECK_SOC_VERSIONS.begin(), MEM_CHECK_SOC_VERSIONS.end(), socVersion) !=
             MEM_CHECK_SOC_VERSIONS.end();
}

int GetFreeMemory(const std::string& socVersion, size_t& free, size_t& reserved) {
  const bool isDdr = ModelLoading::IsUseDDRMem(socVersion);
  size_t total = 0;
  if (zelrtGetMemInfo(isDdr ? ZEL_DDR_MEM : ZEL_HBM_MEM, &free, &total) != 0) {
    ORMO_LOG_ERROR("Get %s memory info failed.", isDdr ? "ddr" : "hbm");
    return STATUS_NOT_ENOUGH_MEMORY;
  }
  reserved = isDdr ? DDR_RESERVED_SIZE
                   : static_cast<size_t>(static_cast<double>(total) * HBM_RESERVED_SHARE);
  return STATUS_SUCCESS;
}

using MemoryMap = std::map<uint32_t, void*>;

// Device memory for a model, with its entry of a map made before the model's id is known: nothing
// can fail once the model is loaded.
class OwnMemory {
 public:
  int Allocate(const char* what, size_t size) {
    void* address = nullptr;
    const int status = ModelLoading::RtMalloc(&address, size);
    if (status != STATUS_SUCCESS) {
      ORMO_LOG_ERROR("LoadModel from memory failed because malloc %s failed, ret = %d", what,
                     status);
      return status;
    }
    memory_.Reset(address);
    MemoryMap entry;
    entry.emplace(0, address);
    entry_ = entry.extract(entry.begin());
    return STATUS_SUCCESS;
  }

  void* Address() const { return memory_.Get(); }

  void MoveTo(MemoryMap& map, uint32_t modelId) {
    map.erase(modelId);
    entry_.key() = modelId;
    map.insert(std::move(entry_));
    memory_.Detach();
  }

 private:
  DeviceMemory memory_;
  MemoryMap::node_type entry_;
};

}  // namespace

std::mutex ModelLoading::ownMemoryMutex_;
std::map<uint32_t, void*> ModelLoading::modelId2WorkPtr;
std::map<uint32_t, void*> ModelLoading::modelId2WeightPtr;

int ModelLoading::LoadModel(ModelInfo& modelInfo, const std::string& socVersion) {
  if (!modelInfo.modelPath.empty()) {
    return LoadModel(modelInfo.modelPath, modelInfo.modelId);
  }
  if (modelInfo.modelData.data != nullptr) {
    return LoadModel(modelInfo.modelData, modelInfo.modelId, modelInfo.runMode, socVersion);
  }
  ORMO_LOG_ERROR("Invalid model info.");
  return STATUS_FAILED;
}

int ModelLoading::LoadModel(const std::string& modelPath, uint32_t& modelId) {
  const int32_t code = zelmdlLoadFromFile(modelPath.c_str(), &modelId);
  if (code != 0) {
    ORMO_LOG_ERROR("Load model from file failed, ret : %d, model : %s", code, modelPath.c_str());
    return TranslateStatus(code);
  }
  ORMO_LOG_INFO("Load model success, modelId: %u", modelId);
  return STATUS_SUCCESS;
}

int ModelLoading::LoadModel(const OrmoDataInfo& modelData, uint32_t& modelId,
                            const RunMode& runMode, const std::string& socVersion) {
  switch (runMode) {
    case RunMode::PREVIOUS_MEMORY:
      return LoadModelWithPrevMem(modelData, modelId);
    case RunMode::NO_MEMORY_CHECK:
      return LoadModelWithoutCheckMem(modelData, modelId);
    case RunMode::DEFAULT:
    default:
      return LoadModelDefaultMode(modelData, modelId, socVersion);
  }
}

int ModelLoading::LoadModelDefaultMode(const OrmoDataInfo& modelData, uint32_t& modelId,
                                       const std::string& socVersion) {
  size_t workSize = 0;
  size_t weightSize = 0;
  int32_t code = zelmdlQuerySizeFromMem(modelData.data, modelData.size, &workSize, &weightSize);
  if (code != 0) {
    ORMO_LOG_ERROR("Zel query memory size failed, ret %d", code);
    return TranslateStatus(code);
  }
  const size_t totalSize = workSize + weightSize;
  if (totalSize < workSize) {
    CallContext::KeepReason("The model needs more memory than can be counted");
    ORMO_LOG_WARNING("Model total size is over than max size_t, cant malloc memory");
    return STATUS_NOT_ENOUGH_MEMORY;
  }
  int status = CheckAllocMemSize(totalSize, socVersion, true);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_WARNING("Load model failed, not enough free memory, ret %d", status);
    if (IsNeedCleanCache(socVersion)) {
      CallContext::ForgetReason();
      CleanCache();
      status = CheckAllocMemSize(totalSize, socVersion, true);
    }
  }
  if (status != STATUS_SUCCESS) {
    return status;
  }
  code = zelmdlLoadFromMem(modelData.data, modelData.size, &modelId);
  if (code != 0) {
    ORMO_LOG_ERROR("Load model from mem failed, ret: %d, model size: %d byte(s)", code,
                   static_cast<int>(modelData.size));
    return TranslateStatus(code);
  }
  ORMO_LOG_INFO("Load model success, modelId: %u", modelId);
  return STATUS_SUCCESS;
}

int ModelLoading::LoadModelWithPrevMem(const OrmoDataInfo& modelData, uint32_t& modelId) {
  size_t workSize = 0;
  size_t weightSize = 0;
  int32_t code = zelmdlQuerySizeFromMem(modelData.data, modelData.size, &workSize, &weightSize);
  if (code != 0) {
    ORMO_LOG_ERROR("zelmdlQuerySize query memory size failed, ret = %d", code);
    return TranslateStatus(code);
  }
  const bool loaded = IsHugeOnlySize(weightSize) &&
                      LoadModelWithMem(modelData, modelId, workSize, weightSize) == STATUS_SUCCESS;
  if (!loaded) {
    CallContext::ForgetReason();
    code = zelmdlLoadFromMem(modelData.data, modelData.size, &modelId);
    if (code != 0) {
      ORMO_LOG_ERROR(
          "Load model from mem failed, ret: %d, model.size: %zu byte(s), workSize: %zu byte(s), "
          "weightSize: %zu byte(s)",
          code, modelData.size, workSize, weightSize);
      return TranslateStatus(code);
    }
  }
  ORMO_LOG_INFO(
      "Load model success, modelId: %u, model.size: %zu byte(s), workSize: %zu byte(s), "
      "weightSize: %zu byte(s)",
      modelId, modelData.size, workSize, weightSize);
  return STATUS_SUCCESS;
}

int ModelLoading::LoadModelWithMem(const OrmoDataInfo& modelData, uint32_t& modelId,
                                   size_t workSize, size_t weightSize) {
  OwnMemory work;
  OwnMemory weight;
  int status = work.Allocate("workPtr", workSize);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  status = weight.Allocate("weightPtr", weightSize);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  const int32_t code =
      zelmdlLoadFromMemWithMem(modelData.data, modelData.size, &modelId, work.Address(), workSize,
                               weight.Address(), weightSize);
  if (code != 0) {
    ORMO_LOG_ERROR("LoadModel from memory failed because zelmdlLoadFromMemWithMem failed, ret %d",
                   code);
    return TranslateStatus(code);
  }
  {
    const std::lock_guard<std::mutex> lock(ownMemoryMutex_);
    work.MoveTo(modelId2WorkPtr, modelId);
    weight.MoveTo(modelId2WeightPtr, modelId);
  }
  ORMO_LOG_INFO(
      "LoadModelFromDataWithMem success, modelId : %u, model.size: %zu byte(s), workSize: %zu "
      "byte(s), weightSize: %zu byte(s)",
      modelId, modelData.size, workSize, weightSize);
  return STATUS_SUCCESS;
}

int ModelLoading::LoadModelWithoutCheckMem(const OrmoDataInfo& modelData, uint32_t& modelId) {
  const int32_t code = zelmdlLoadFromMem(modelData.data, modelData.size, &modelId);
  if (code != 0) {
    ORMO_LOG_ERROR("Load model from mem failed, ret = %d, model size: %d byte(s)", code,
                   static_cast<int>(modelData.size));
    return TranslateStatus(code);
  }
  ORMO_LOG_INFO("Load model success, modelId : %u", modelId);
  return STATUS_SUCCESS;
}

void ModelLoading::UnloadModel(const uint32_t& modelId) {
  const ScopeExit freeMemory("a model's own memory", [modelId] {
    FreeOwnMemory(modelId2WeightPtr, modelId);
    FreeOwnMemory(modelId2WorkPtr, modelId);
  });
  const int32_t code = zelmdlUnload(modelId);
  if (code != 0) {
    ORMO_LOG_ERROR("Unload model failed, model id %u, ret : %d", modelId, code);
  } else {
    ORMO_LOG_INFO("Unload model success, model id : %u", modelId);
  }
}

void ModelLoading::FreeOwnMemory(std::map<uint32_t, void*>& memory, uint32_t modelId) {
  std::map<uint32_t, void*>::node_type entry;
  {
    const std::lock_guard<std::mutex> lock(ownMemoryMutex_);
    entry = memory.extract(modelId);
  }
  if (!entry.empty()) {
    const DeviceMemory freed(entry.mapped());
  }
}

int ModelLoading::CheckAllocMemSize(size_t allocSize, const std::string& socVersion,
                                    bool checkReserved) {
  if (!IsMemoryChecked(socVersion)) {
    ORMO_LOG_WARNING("Soc version[%s] no need to check", socVersion.c_str());
    return STATUS_SUCCESS;
  }
  size_t free = 0;
  size_t reserved = 0;
  const int status = GetFreeMemory(socVersion, free, reserved);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  if (!checkReserved) {
    reserved = 0;
  }
  if (reserved <= free && allocSize <= free - reserved) {
    return STATUS_SUCCESS;
  }
  CallContext::KeepReason(
      "Not enough device memory: %zu byte(s) are needed, %zu free, %zu of them in reserve",
      allocSize, free, reserved);
  ORMO_LOG_WARNING(
      "Check alloc memory failed, reserved memory: %zu byte(s), free memory: %zu byte(s), alloc "
      "memory: %zu byte(s)",
      reserved, free, allocSize);
  return STATUS_NOT_ENOUGH_MEMORY;
}

bool ModelLoading::IsUseDDRMem(const std::string& socVersion) {
  return StartsWithAny(socVersion, DDR_SOC_PREFIXES);
}

bool ModelLoading::IsNeedCleanCache(const std::string& socVersion) {
  return StartsWithAny(socVersion, CLEAN_CACHE_SOC_PREFIXES);
}

void ModelLoading::CleanCache() {
  FILE* stream = popen(CLEAN_CACHE_COMMAND, "r");
  if (stream == nullptr) {
    ORMO_LOG_WARNING("Failed to run clean cache cmd[%s].", CLEAN_CACHE_COMMAND);
    return;
  }
  pclose(stream);
  ORMO_LOG_INFO("Clean cache success.");
}

int ModelLoading::RtMalloc(void** devPtr, size_t size) {
  if (IsHugeOnlySize(size)) {
    const int32_t code = zelrtMalloc(devPtr, size, ZEL_MEM_MALLOC_HUGE_ONLY);
    if (code == 0) {
      ORMO_LOG_DEBUG("RtMalloc by ZEL_MEM_MALLOC_HUGE_ONLY succ, ret %d", code);
      return STATUS_SUCCESS;
    }
    ORMO_LOG_WARNING(
        "RtMalloc by ZEL_MEM_MALLOC_HUGE_ONLY failed, ret = %d. Try to malloc by HUGE_FIRST.",
        code);
  }
  const int32_t code = zelrtMalloc(devPtr, size, ZEL_MEM_MALLOC_HUGE_FIRST);
  if (code != 0) {
    ORMO_LOG_ERROR("RtMalloc by ZEL_MEM_MALLOC_HUGE_FIRST failed, ret = %d", code);
    return TranslateStatus(code, STATUS_DEVICE_MEMORY_FAILED);
  }
  return STATUS_SUCCESS;
}

void ModelLoading::RtMemFree(void* devPtr) {
  if (devPtr != nullptr) {
    zelrtFree(devPtr);
  }
}

}  // namespace Ormo
