/// \file
/// Offline models on their way onto the device and off it, and the memory there.
#ifndef ORMO_MODEL_MODEL_LOADING_H
#define ORMO_MODEL_MODEL_LOADING_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "ormo/runner_types.h"

namespace Ormo {

/// Loads and unloads models and watches over device memory; all of it is reached through
/// ModelManager. Every operation acts on the context that is current on the calling thread, the
/// worker of the model's device, and returns the statuses of status.h. STATUS_NOT_ENOUGH_MEMORY
/// follows warning lines when there is too little memory, and an error line when the platform could
/// not tell how much there is.
class ModelLoading {
 public:
  /// Loads from the file, else from memory with the run mode's strategy, and writes the model's id.
  static int LoadModel(ModelInfo& modelInfo, const std::string& socVersion);
  static int LoadModel(const std::string& modelPath, uint32_t& modelId);
  static int LoadModel(const OrmoDataInfo& modelData, uint32_t& modelId, const RunMode& runMode,
                       const std::string& socVersion);
  /// Checks that the model fits, drops the page cache once where that helps, and loads.
  static int LoadModelDefaultMode(const OrmoDataInfo& modelData, uint32_t& modelId,
                                  const std::string& socVersion);
  /// Loads models with 4 KiB to 1 MiB of weights into memory of the library's own, others and those
  /// for which that fails into the platform's. No memory check.
  static int LoadModelWithPrevMem(const OrmoDataInfo& modelData, uint32_t& modelId);
  static int LoadModelWithMem(const OrmoDataInfo& modelData, uint32_t& modelId, size_t workSize,
                              size_t weightSize);
  static int LoadModelWithoutCheckMem(const OrmoDataInfo& modelData, uint32_t& modelId);
  /// Unloads the model and frees memory of the library's own, whatever the platform answers.
  static void UnloadModel(const uint32_t& modelId);

  /// 0 when `allocSize` bytes fit the free memory, less a reserve when `checkReserved` is set (1
  /// GiB on DDR chips, 1 % of the total on others), or when the chip is not checked.
  static int CheckAllocMemSize(size_t allocSize, const std::string& socVersion, bool checkReserved);
  static bool IsUseDDRMem(const std::string& socVersion);
  static bool IsNeedCleanCache(const std::string& socVersion);
  /// Drops the operating system's page cache.
  static void CleanCache();
  /// Device memory that is the caller's: 4 KiB to 1 MiB from huge pages only if possible.
  static int RtMalloc(void** devPtr, size_t size);
  /// Frees device memory (null: none) without a word when that fails. Memory that has an owner is
  /// freed by that, which says so.
  static void RtMemFree(void* devPtr);

 private:
  static void FreeOwnMemory(std::map<uint32_t, void*>& memory, uint32_t modelId);

  /// Memory of the library's own, by the model that was loaded into it. One mutex for both: several
  /// devices' workers load and unload at once.
  static std::mutex ownMemoryMutex_;
  static std::map<uint32_t, void*> modelId2WorkPtr;
  static std::map<uint32_t, void*> modelId2WeightPtr;
};

}  // namespace Ormo

#endif  // ORMO_MODEL_MODEL_LOADING_H
