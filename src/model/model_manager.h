/// \file
/// The data and executions of one run of a loaded offline model.
#ifndef ORMO_MODEL_MODEL_MANAGER_H
#define ORMO_MODEL_MODEL_MANAGER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "model/model_loading.h"
#include "ormo/runner_types.h"
#include "ormo/trace.h"
#include "zel/zel_mdl.h"

namespace Ormo {

/// Holds what one run of a loaded model needs on the device. Used by the worker of the model's
/// device; the destructor releases everything.
class ModelManager : public ModelLoading {
 public:
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
  using ModelLoading::CheckAllocMemSize;
  /// The same for the run's chip; only a run without memory checks may use the reserve.
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
  /// What inputs and outputs differ in.
  struct Side;
  static const Side INPUT;
  static const Side OUTPUT;

  int CheckBuffers(const Side& side, const std::vector<OrmoDataInfo>& buffers,
                   const std::function<int(size_t index)>& checkSize) const;
  int Create(const Side& side, zelmdlDataset*& dataset, const std::function<int()>& fill) const;
  int CreateIndependentInput(const std::vector<OrmoDataInfo>& inputs);
  int CreateIndependentOutput(const std::vector<OrmoDataInfo>& outputs);
  int AddInput(const std::vector<OrmoDataInfo>& inputs, size_t index) const;
  int AddOutput(const std::vector<OrmoDataInfo>& outputs, size_t index);
  int AddBuffer(const Side& side, zelmdlDataset* dataset, size_t index, const OrmoDataInfo& content,
                size_t needed) const;
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

  uint32_t modelId_;
  std::string socVersion_;
  RunMode runMode_;
  zelmdlDesc* modelDesc_ = nullptr;
  zelmdlDataset* inputDataset_ = nullptr;
  zelmdlDataset* outputDataset_ = nullptr;
  /// Caller's outputs on DDR chips, where they come out of the memory that inputs need too.
  uint64_t extraOutputSize_ = 0;
  /// Made once: making one for each execution costs more than recording it.
  mutable Trace executionSpan_;
};

}  // namespace Ormo

#endif  // ORMO_MODEL_MODEL_MANAGER_H
