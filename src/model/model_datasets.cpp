#include <algorithm>
#include <optional>
#include <utility>

#include "common/log.h"
#include "common/platform_handles.h"
#include "common/scope_exit.h"
#include "common/status_translation.h"
#include "model/model_manager.h"
#include "ormo/status.h"
#include "zel/zel.h"

namespace Ormo {
namespace {

// For an output whose size the model does not know and the caller does not give.
constexpr size_t DEFAULT_OUTPUT_SIZE = 1048576;

// The platform gets an input's shape only.
constexpr int32_t TENSOR_DATA_TYPE = 0;
constexpr int32_t TENSOR_FORMAT = 0;

bool HasShape(const OrmoDataInfo& info) {
  return info.dims != nullptr && info.dimNum != 0;
}

bool HasNoShape(const OrmoDataInfo& info) {
  return info.dims == nullptr && info.dimNum == 0;
}

// New zero-filled device memory.
int AllocateZeroed(size_t size, DeviceMemory& memory) {
  void* address = nullptr;
  const int status = ModelManager::RtMalloc(&address, size);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Malloc device data buffer failed, ret : %d", status);
    return status;
  }
  memory.Reset(address);
  zelrtMemset(address, size, 0, size);
  return STATUS_SUCCESS;
}

// Frees a dataset's buffer with the memory behind it. `isThere` says, after an exception too,
// whether there is one at `index`.
void ReleaseBuffer(zelmdlDataset* dataset, size_t index, bool& isThere) {
  isThere = false;
  const DataBuffer buffer(zelmdlGetDatasetBuffer(dataset, index));
  isThere = static_cast<bool>(buffer);
  if (isThere) {
    const DeviceMemory memory(zelGetDataBufferAddr(buffer.Get()));
  }
}

int CheckInputSize(const OrmoDataInfo& input, size_t index, size_t modelSize) {
  if (input.size == 0) {
    ORMO_LOG_ERROR("Invalid input[%zu] size : %zu byte(s)", index, input.size);
    return STATUS_FAILED;
  }
  if (modelSize == 0 && !HasShape(input)) {
    ORMO_LOG_ERROR("Dynamic shape scene: input shape is invalid");
    return STATUS_FAILED;
  }
  if (modelSize != 0 && HasNoShape(input) && input.size != modelSize) {
    ORMO_LOG_ERROR("Invalid input[%zu] size: %zu byte(s), but expect size: %zu byte(s)", index,
                   input.size, modelSize);
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

}  // namespace

ModelManager::ModelManager(uint32_t modelId, std::string socVersion, RunMode runMode)
    : modelId_(modelId),
      socVersion_(std::move(socVersion)),
      runMode_(runMode),
      executionSpan_("Execute model id" + std::to_string(modelId)) {}

ModelManager::~ModelManager() {
  ReleaseQuietly("a model description", [this] { DestroyDesc(); });
  ReleaseQuietly("the inputs", [this] { DestroyInput(); });
  ReleaseQuietly("the outputs", [this] { DestroyOutput(); });
}

int ModelManager::CreateDesc() {
  modelDesc_ = zelmdlCreateDesc();
  if (modelDesc_ == nullptr) {
    ORMO_LOG_ERROR("Create model description failed, ret : nullptr");
    return STATUS_FAILED;
  }
  const int32_t code = zelmdlGetDesc(modelDesc_, modelId_);
  if (code != 0) {
    ORMO_LOG_ERROR("Get model description failed, ret : %d", code);
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int ModelManager::CheckInput(const std::vector<OrmoDataInfo>& inputs) const {
  if (inputs.empty()) {
    return STATUS_SUCCESS;
  }
  if (modelDesc_ == nullptr) {
    ORMO_LOG_ERROR("Invalid model description : nullptr");
    return STATUS_FAILED;
  }
  const size_t count = zelmdlGetNumInputs(modelDesc_);
  if (inputs.size() != count) {
    ORMO_LOG_ERROR("The number of input %zu is not equal to model input num %zu", inputs.size(),
                   count);
    return STATUS_FAILED;
  }
  for (size_t index = 0; index < count; ++index) {
    const size_t modelSize = zelmdlGetInputSizeByIndex(modelDesc_, index);
    const int status = CheckInputSize(inputs[index], index, modelSize);
    if (status != STATUS_SUCCESS) {
      return status;
    }
  }
  return STATUS_SUCCESS;
}

int ModelManager::CheckOutput(const std::vector<OrmoDataInfo>& outputs) const {
  if (outputs.empty()) {
    return STATUS_SUCCESS;
  }
  if (modelDesc_ == nullptr) {
    ORMO_LOG_ERROR("Invalid model description : nullptr");
    return STATUS_FAILED;
  }
  const size_t count = zelmdlGetNumOutputs(modelDesc_);
  if (outputs.size() != count) {
    ORMO_LOG_ERROR("The number of output %zu is not equal to model output num %zu", outputs.size(),
                   count);
    return STATUS_FAILED;
  }
  for (size_t index = 0; index < count; ++index) {
    if (outputs[index].size == 0) {
      ORMO_LOG_ERROR("Invalid output[%zu] size : %zu byte(s)", index, outputs[index].size);
      return STATUS_FAILED;
    }
  }
  return STATUS_SUCCESS;
}

bool ModelManager::AreAllGiven(const std::vector<OrmoDataInfo>& buffers) {
  return !buffers.empty() &&
         std::all_of(buffers.begin(), buffers.end(),
                     [](const OrmoDataInfo& buffer) { return buffer.data != nullptr; });
}

int ModelManager::CheckAllocMemSize(size_t allocSize) const {
  return CheckAllocMemSize(allocSize, socVersion_, runMode_ != RunMode::NO_MEMORY_CHECK);
}

int ModelManager::CreateOutput(const std::vector<OrmoDataInfo>& outputs) {
  if (modelDesc_ == nullptr) {
    return STATUS_PLATFORM_FAILED;
  }
  if (outputDataset_ == nullptr) {
    outputDataset_ = zelmdlCreateDataset();
    if (outputDataset_ == nullptr) {
      ORMO_LOG_ERROR("Create output dataset failed, ret : nullptr");
      return STATUS_PLATFORM_FAILED;
    }
  }
  const int status = CreateIndependentOutput(outputs);
  if (status != STATUS_SUCCESS && status != STATUS_NOT_ENOUGH_MEMORY) {
    ORMO_LOG_ERROR("Create output dataset failed.");
  }
  return status;
}

int ModelManager::CreateIndependentOutput(const std::vector<OrmoDataInfo>& outputs) {
  const bool isExtra = IsUseDDRMem(socVersion_) && AreAllGiven(outputs);
  const size_t count = zelmdlGetNumOutputs(modelDesc_);
  for (size_t index = 0; index < count; ++index) {
    size_t size = zelmdlGetOutputSizeByIndex(modelDesc_, index);
    if (index < outputs.size()) {
      size = outputs[index].size;
      if (isExtra) {
        extraOutputSize_ += size;
      }
    }
    const int status = AddOutput(index, size == 0 ? DEFAULT_OUTPUT_SIZE : size);
    if (status == STATUS_NOT_ENOUGH_MEMORY) {
      return status;
    }
    if (status != STATUS_SUCCESS) {
      DestroyOutput();
      return status;
    }
  }
  return STATUS_SUCCESS;
}

int ModelManager::AddOutput(size_t index, size_t size) {
  ORMO_LOG_DEBUG("Create independent output dataset with size : %zu byte(s)", size);
  int status = CheckAllocMemSize(size);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_WARNING("Create output[%zu] failed", index);
    return status;
  }
  DeviceMemory buffer;
  status = AllocateZeroed(size, buffer);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  status = CreateDataSet(buffer.Get(), size, outputDataset_);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Fill external output dataset failed.");
    return status;
  }
  buffer.Detach();
  return STATUS_SUCCESS;
}

int ModelManager::CreateInput(const std::vector<OrmoDataInfo>& inputs) {
  if (modelDesc_ == nullptr) {
    return STATUS_PLATFORM_FAILED;
  }
  if (inputDataset_ == nullptr) {
    inputDataset_ = zelmdlCreateDataset();
    if (inputDataset_ == nullptr) {
      ORMO_LOG_ERROR("Create input dataset failed, it's nullptr.");
      return STATUS_PLATFORM_FAILED;
    }
  }
  const int status = CreateIndependentInput(inputs);
  if (status != STATUS_SUCCESS && status != STATUS_NOT_ENOUGH_MEMORY) {
    ORMO_LOG_ERROR("Create input dataset failed.");
  }
  return status;
}

int ModelManager::CreateIndependentInput(const std::vector<OrmoDataInfo>& inputs) {
  const size_t count = zelmdlGetNumInputs(modelDesc_);
  for (size_t index = 0; index < count; ++index) {
    const int status = AddInput(inputs, index);
    if (status == STATUS_NOT_ENOUGH_MEMORY) {
      return status;
    }
    if (status != STATUS_SUCCESS) {
      DestroyInput();
      return status;
    }
  }
  return STATUS_SUCCESS;
}

int ModelManager::AddInput(const std::vector<OrmoDataInfo>& inputs, size_t index) {
  const bool isGiven = index < inputs.size();
  const size_t size = isGiven ? inputs[index].size : zelmdlGetInputSizeByIndex(modelDesc_, index);
  ORMO_LOG_DEBUG("Create independent input dataset with size : %zu byte(s)", size);
  ORMO_LOG_DEBUG("Need extra output dataset size : %zu byte(s)", extraOutputSize_);
  int status = CheckAllocMemSize(size + extraOutputSize_);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_WARNING("Create input[%zu] failed", index);
    return status;
  }
  DeviceMemory buffer;
  status = AllocateZeroed(size, buffer);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  if (isGiven && inputs[index].data != nullptr) {
    const int32_t code =
        zelrtMemcpy(buffer.Get(), size, inputs[index].data, size, ZEL_MEMCPY_HOST_TO_DEVICE);
    if (code != 0) {
      ORMO_LOG_ERROR("Memcpy host data buffer to device data buffer failed, ret : %d", code);
      return TranslateStatus(code, STATUS_DEVICE_MEMORY_FAILED);
    }
  }
  status = CreateDataSet(buffer.Get(), size, inputDataset_);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Fill independent input dataset failed.");
    return status;
  }
  buffer.Detach();
  status = SetTensorDesc(inputs, index);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Set tensor desc fialed.");
  }
  return status;
}

int ModelManager::CreateDataSet(void* data, size_t size, zelmdlDataset* dataset) const {
  if (data == nullptr || size == 0 || dataset == nullptr) {
    ORMO_LOG_ERROR("Create dataset failed for inptut parameter invalid.");
    return STATUS_PLATFORM_FAILED;
  }
  DataBuffer buffer(zelCreateDataBuffer(data, size));
  if (!buffer) {
    ORMO_LOG_ERROR("Create data buffer failed.");
    return STATUS_PLATFORM_FAILED;
  }
  const int32_t code = zelmdlAddDatasetBuffer(dataset, buffer.Get());
  if (code != 0) {
    ORMO_LOG_ERROR("Add buffer to dataset failed, ret : %d", code);
    return STATUS_PLATFORM_FAILED;
  }
  buffer.Detach();
  return STATUS_SUCCESS;
}

int ModelManager::SetTensorDesc(const std::vector<OrmoDataInfo>& inputs, size_t index) const {
  if (index >= inputs.size() || !HasShape(inputs[index])) {
    return STATUS_SUCCESS;
  }
  const OrmoDataInfo& input = inputs[index];
  const TensorDescription desc(zelCreateTensorDesc(TENSOR_DATA_TYPE, static_cast<int>(input.dimNum),
                                                   input.dims, TENSOR_FORMAT));
  if (!desc) {
    ORMO_LOG_ERROR("Create tensor desc failed");
    return STATUS_PLATFORM_FAILED;
  }
  if (zelmdlSetDatasetTensorDesc(inputDataset_, desc.Get(), index) != 0) {
    ORMO_LOG_ERROR("Set input tensor desc failed");
    return STATUS_PLATFORM_FAILED;
  }
  return STATUS_SUCCESS;
}

void ModelManager::DestroyDesc() {
  if (modelDesc_ != nullptr) {
    zelmdlDesc* desc = std::exchange(modelDesc_, nullptr);
    const int32_t code = zelmdlDestroyDesc(desc);
    if (code != 0) {
      ORMO_LOG_ERROR("Destroy model description failed, ret : %d", code);
    }
  }
}

void ModelManager::DestroyInput() {
  if (inputDataset_ == nullptr) {
    ORMO_LOG_WARNING("Input dataset is nullptr");
    return;
  }
  DestroyDataset(inputDataset_);
}

void ModelManager::DestroyOutput() {
  if (outputDataset_ == nullptr) {
    ORMO_LOG_WARNING("Output dataset is nullptr");
    return;
  }
  DestroyDataset(outputDataset_);
}

void ModelManager::DestroyDataset(zelmdlDataset*& dataset) const {
  if (dataset == nullptr) {
    return;
  }
  std::optional<size_t> count;  // without it: as many as there are
  ReleaseQuietly("a dataset's list", [&] { count = zelmdlGetDatasetNumBuffers(dataset); });
  bool isThere = true;
  for (size_t index = 0; count.has_value() ? index < *count : isThere; ++index) {
    ReleaseQuietly("a dataset's buffer", [&] {
      ReleaseBuffer(dataset, index, isThere);
      if (!isThere && count.has_value()) {
        ORMO_LOG_ERROR("Get dataset buffer failed");
      }
    });
  }
  zelmdlDestroyDataset(std::exchange(dataset, nullptr));
}

}  // namespace Ormo
