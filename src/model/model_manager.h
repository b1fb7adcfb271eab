/// \file
/// Offline models on the device: loading and memory, and the data and executions of one run.
#ifndef ORMO_MODEL_MODEL_MANAGER_H
#define ORMO_MODEL_MODEL_MANAGER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ormo/runner_types.h"
#include "ormo/trace.h"
#include "zel/zel_mdl.h"

namespace Ormo {

/// The static operations load and unload models and watch over device memory; an instance holds
/// what one run of a loaded model needs. All of them act on the context that is current on the
/// calling thread, the worker of the model's device, and return the statuses of status.h.
/// STATUS_NOT_ENOUGH_MEMORY follows warning lines when there is too little memory, and an error
/// line when the platform could not tell how much there is.
class ModelManager {
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

  /// Whether there are buffers and every one of them has data.
  static bool AreAllGiven(const std::vector<OrmoDataInfo>& buffers);

  ModelManager(uint32_t modelId, std::string socVersion, RunMode runMode);
  ~ModelManager();
  ModelManager(const ModelManager&) = delete;
  ModelManager& operator=(const ModelManager&) = delete;

  int CreateDesc();
  /// The caller's buffers against the model's; empty lists are valid.
  int CheckInput(const std::vector<OrmoDataInfo>& inputs) const;
  int CheckOutput(const std::vector<OrmoDataInfo>& outputs) const;
  /// Device buffers for every input, with the caller's data or zeros, and for every output.
  int CreateInput(const std::vector<OrmoDataInfo>& inputs);
  int CreateOutput(const std::vector<OrmoDataInfo>& outputs);
  int CheckAllocMemSize(size_t allocSize) const;
  /// One execution; `costTime` is its wall-clock time in ns, also when it failed. A dynamic setting
  /// of `config` is applied before; STATUS_DYNAMIC_PARAM_FAILED, with `costTime` left alone, when
  /// that fails.
  int Execute(uint64_t& costTime, const RunnerConfig& config) const;
  /// Copies every output to the caller's buffers. Throws std::out_of_range when there are fewer of
  /// them than outputs.
  int ProcessResult(const std::vector<OrmoDataInfo>& outputs) const;

  uint32_t GetModelId() const { return modelId_; }

 private:
  static void FreeOwnMemory(std::map<uint32_t, void*>& memory, uint32_t modelId);

  int CreateIndependentInput(const std::vector<OrmoDataInfo>& inputs);
  int CreateIndependentOutput(const std::vector<OrmoDataInfo>& outputs);
  int AddInput(const std::vector<OrmoDataInfo>& inputs, size_t index);
  int AddOutput(size_t index, size_t size);
  int CreateDataSet(void* data, size_t size, zelmdlDataset* dataset) const;
  int SetTensorDesc(const std::vector<OrmoDataInfo>& inputs, size_t index) const;
  int SetDynamicParam(const std::string& dynamicType, const std::string& dynamicParam) const;
  int SetBatchSize(size_t index, const std::string& dynamicParam) const;
  int SetImageSize(size_t index, const std::string& dynamicParam) const;
  int SetDims(size_t index, const std::string& dynamicParam) const;
  int ProcessOutput(const std::vector<OrmoDataInfo>& outputs) const;
  void DestroyDesc();
  void DestroyInput();
  void DestroyOutput();
  void DestroyDataset(zelmdlDataset*& dataset) const;

  // Memory of the library's own, by the model that was loaded into it. One mutex for both: several
  // devices' workers load and unload at once.
  static std::mutex ownMemoryMutex_;
  static std::map<uint32_t, void*> modelId2WorkPtr;
  static std::map<uint32_t, void*> modelId2WeightPtr;

  uint32_t modelId_;
  std::string socVersion_;
  RunMode runMode_;
  zelmdlDesc* modelDesc_ = nullptr;
  zelmdlDataset* inputDataset_ = nullptr;
  zelmdlDataset* outputDataset_ = nullptr;
  // Caller's outputs on DDR chips, where they come out of the memory that inputs need too.
  uint64_t extraOutputSize_ = 0;
  // Made once: making one for each execution costs more than recording it.
  mutable Trace executionSpan_;
};

}  // namespace Ormo

#endif  // ORMO_MODEL_MODEL_MANAGER_H
