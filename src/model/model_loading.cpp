#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include "common/log.h"
#include "common/platform_handles.h"
#include "common/scope_exit.h"
#include "common/status_translation.h"
#include "model/chip_tables.h"
#include "model/model_manager.h"
#include "ormo/status.h"
#include "zel/zel.h"

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
  size_t total = 0;
  if (ModelManager::IsUseDDRMem(socVersion)) {
    if (zelrtGetMemInfo(ZEL_DDR_MEM, &free, &total) != 0) {
      ORMO_LOG_ERROR("Get ddr memory info failed.");
      return STATUS_NOT_ENOUGH_MEMORY;
    }
    reserved = DDR_RESERVED_SIZE;
    return STATUS_SUCCESS;
  }
  if (zelrtGetMemInfo(ZEL_HBM_MEM, &free, &total) != 0) {
    ORMO_LOG_ERROR("Get hbm memory info failed.");
    return STATUS_NOT_ENOUGH_MEMORY;
  }
  reserved = static_cast<size_t>(static_cast<double>(total) * HBM_RESERVED_SHARE);
  return STATUS_SUCCESS;
}

// A map entry made before its key is known, so that nothing can fail once a model is loaded.
std::map<uint32_t, void*>::node_type MakeEntry(void* memory) {
  std::map<uint32_t, void*> entry;
  entry.emplace(0, memory);
  return entry.extract(entry.begin());
}

void StoreEntry(std::map<uint32_t, void*>& memory, uint32_t modelId,
                std::map<uint32_t, void*>::node_type entry) {
  memory.erase(modelId);
  entry.key() = modelId;
  memory.insert(std::move(entry));
}

}  // namespace

std::mutex ModelManager::ownMemoryMutex_;
std::map<uint32_t, void*> ModelManager::modelId2WorkPtr;
std::map<uint32_t, void*> ModelManager::modelId2WeightPtr;

int ModelManager::LoadModel(ModelInfo& modelInfo, const std::string& socVersion) {
  if (!modelInfo.modelPath.empty()) {
    return LoadModel(modelInfo.modelPath, modelInfo.modelId);
  }
  if (modelInfo.modelData.data != nullptr) {
    return LoadModel(modelInfo.modelData, modelInfo.modelId, modelInfo.runMode, socVersion);
  }
  ORMO_LOG_ERROR("Invalid model info.");
  return STATUS_FAILED;
}

int ModelManager::LoadModel(const std::string& modelPath, uint32_t& modelId) {
  const int32_t code = zelmdlLoadFromFile(modelPath.c_str(), &modelId);
  if (code != 0) {
    ORMO_LOG_ERROR("Load model from file failed, ret : %d, model : %s", code, modelPath.c_str());
    return TranslateStatus(code);
  }
  ORMO_LOG_INFO("Load model success, modelId: %u", modelId);
  return STATUS_SUCCESS;
}

int ModelManager::LoadModel(const OrmoDataInfo& modelData, uint32_t& modelId,
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

int ModelManager::LoadModelDefaultMode(const OrmoDataInfo& modelData, uint32_t& modelId,
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
    ORMO_LOG_WARNING("Model total size is over than max size_t, cant malloc memory");
    return STATUS_NOT_ENOUGH_MEMORY;
  }
  int status = CheckAllocMemSize(totalSize, socVersion, true);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_WARNING("Load model failed, not enough free memory, ret %d", status);
    if (!IsNeedCleanCache(socVersion)) {
      return status;
    }
    CleanCache();
    status = CheckAllocMemSize(totalSize, socVersion, true);
    if (status != STATUS_SUCCESS) {
      return status;
    }
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

int ModelManager::LoadModelWithPrevMem(const OrmoDataInfo& modelData, uint32_t& modelId) {
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

int ModelManager::LoadModelWithMem(const OrmoDataInfo& modelData, uint32_t& modelId,
                                   size_t workSize, size_t weightSize) {
  void* address = nullptr;
  int status = RtMalloc(&address, workSize);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("LoadModel from memory failed because malloc workPtr failed, ret = %d", status);
    return status;
  }
  DeviceMemory work(address);
  status = RtMalloc(&address, weightSize);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("LoadModel from memory failed because malloc weightPtr failed, ret = %d",
                   status);
    return status;
  }
  DeviceMemory weight(address);
  auto workEntry = MakeEntry(work.Get());
  auto weightEntry = MakeEntry(weight.Get());
  const int32_t code = zelmdlLoadFromMemWithMem(modelData.data, modelData.size, &modelId,
                                                work.Get(), workSize, weight.Get(), weightSize);
  if (code != 0) {
    ORMO_LOG_ERROR("LoadModel from memory failed because zelmdlLoadFromMemWithMem failed, ret %d",
                   code);
    return TranslateStatus(code);
  }
  {
    const std::lock_guard<std::mutex> lock(ownMemoryMutex_);
    StoreEntry(modelId2WorkPtr, modelId, std::move(workEntry));
    StoreEntry(modelId2WeightPtr, modelId, std::move(weightEntry));
  }
  work.Detach();
  weight.Detach();
  ORMO_LOG_INFO(
      "LoadModelFromDataWithMem success, modelId : %u, model.size: %zu byte(s), workSize: %zu "
      "byte(s), weightSize: %zu byte(s)",
      modelId, modelData.size, workSize, weightSize);
  return STATUS_SUCCESS;
}

int ModelManager::LoadModelWithoutCheckMem(const OrmoDataInfo& modelData, uint32_t& modelId) {
  const int32_t code = zelmdlLoadFromMem(modelData.data, modelData.size, &modelId);
  if (code != 0) {
    ORMO_LOG_ERROR("Load model from mem failed, ret = %d, model size: %d byte(s)", code,
                   static_cast<int>(modelData.size));
    return TranslateStatus(code);
  }
  ORMO_LOG_INFO("Load model success, modelId : %u", modelId);
  return STATUS_SUCCESS;
}

void ModelManager::UnloadModel(const uint32_t& modelId) {
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

void ModelManager::FreeOwnMemory(std::map<uint32_t, void*>& memory, uint32_t modelId) {
  std::map<uint32_t, void*>::node_type entry;
  {
    const std::lock_guard<std::mutex> lock(ownMemoryMutex_);
    entry = memory.extract(modelId);
  }
  if (!entry.empty()) {
    const DeviceMemory freed(entry.mapped());
  }
}

int ModelManager::CheckAllocMemSize(size_t allocSize, const std::string& socVersion,
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
  ORMO_LOG_WARNING(
      "Check alloc memory failed, reserved memory: %zu byte(s), free memory: %zu byte(s), alloc "
      "memory: %zu byte(s)",
      reserved, free, allocSize);
  return STATUS_NOT_ENOUGH_MEMORY;
}

bool ModelManager::IsUseDDRMem(const std::string& socVersion) {
  return StartsWithAny(socVersion, DDR_SOC_PREFIXES);
}

bool ModelManager::IsNeedCleanCache(const std::string& socVersion) {
  return StartsWithAny(socVersion, CLEAN_CACHE_SOC_PREFIXES);
}

void ModelManager::CleanCache() {
  FILE* stream = popen(CLEAN_CACHE_COMMAND, "r");
  if (stream == nullptr) {
    ORMO_LOG_WARNING("Failed to run clean cache cmd[%s].", CLEAN_CACHE_COMMAND);
    return;
  }
  pclose(stream);
  ORMO_LOG_INFO("Clean cache success.");
}

int ModelManager::RtMalloc(void** devPtr, size_t size) {
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

void ModelManager::RtMemFree(void* devPtr) {
  if (devPtr != nullptr) {
    zelrtFree(devPtr);
  }
}

}  // namespace Ormo
