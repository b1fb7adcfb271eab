#include <algorithm>
#include <optional>
#include <utility>

#include "common/log.h"
#include "common/platform_handles.h"
#include "common/scope_exit.h"
#include "common/status_translation.h"
#include "model/model_info.h"
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

// An input of the model's `modelSize` (0: known only with a shape).
int CheckInputSize(const OrmoDataInfo& input, size_t index, size_t modelSize) {
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

// Calls `add` for each of `count` buffers until one fails, and then `destroy`. Too little memory
// leaves what was made to the destructor.
template <typename Add, typename Destroy>
int AddEach(size_t count, const Add& add, const Destroy& destroy) {
  int status = STATUS_SUCCESS;
  for (size_t index = 0; index < count && status == STATUS_SUCCESS; ++index) {
    status = add(index);
  }
  if (status != STATUS_SUCCESS && status != STATUS_NOT_ENOUGH_MEMORY) {
    destroy();
  }
  return status;
}

}  // namespace

// What inputs and outputs differ in: in lines and where the model tells of them.
struct ModelManager::Side {
  const char* name;
  const char* withoutDataset;
  const char* filling;
  size_t (*count)(zelmdlDesc* desc);
};

const ModelManager::Side ModelManager::INPUT = {"input", "it's nullptr.", "independent input",
                                                zelmdlGetNumInputs};
const ModelManager::Side ModelManager::OUTPUT = {"output", "ret : nullptr", "external output",
                                                 zelmdlGetNumOutputs};

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
  return CreateModelDesc(modelId_, modelDesc_);
}

int ModelManager::CheckInput(const std::vector<OrmoDataInfo>& inputs) const {
  return CheckBuffers(INPUT, inputs, [&](size_t index) {
    return CheckInputSize(inputs[index], index, zelmdlGetInputSizeByIndex(modelDesc_, index));
  });
}

int ModelManager::CheckOutput(const std::vector<OrmoDataInfo>& outputs) const {
  return CheckBuffers(OUTPUT, outputs, [](size_t /*index*/) { return STATUS_SUCCESS; });
}

int ModelManager::CheckBuffers(const Side& side, const std::vector<OrmoDataInfo>& buffers,
                               const std::function<int(size_t index)>& checkSize) const {
  if (buffers.empty()) {
    return STATUS_SUCCESS;
  }
  if (modelDesc_ == nullptr) {
    ORMO_LOG_ERROR("Invalid model description : nullptr");
    return STATUS_FAILED;
  }
  const size_t count = side.count(modelDesc_);
  if (buffers.size() != count) {
    ORMO_LOG_ERROR("The number of %s %zu is not equal to model %s num %zu", side.name,
                   buffers.size(), side.name, count);
    return STATUS_FAILED;
  }
  int status = STATUS_SUCCESS;
  for (size_t index = 0; index < count && status == STATUS_SUCCESS; ++index) {
    if (buffers[index].size == 0) {
      ORMO_LOG_ERROR("Invalid %s[%zu] size : %zu byte(s)", side.name, index, buffers[index].size);
      return STATUS_FAILED;
    }
    status = checkSize(index);
  }
  return status;
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
  return Create(OUTPUT, outputDataset_, [&] { return CreateIndependentOutput(outputs); });
}

int ModelManager::CreateInput(const std::vector<OrmoDataInfo>& inputs) {
  return Create(INPUT, inputDataset_, [&] { return CreateIndependentInput(inputs); });
}

int ModelManager::Create(const Side& side, zelmdlDataset*& dataset,
                         const std::function<int()>& fill) const {
  if (modelDesc_ == nullptr) {
    return STATUS_PLATFORM_FAILED;
  }
  if (dataset == nullptr) {
    dataset = zelmdlCreateDataset();
    if (dataset == nullptr) {
      ORMO_LOG_ERROR("Create %s dataset failed, %s", side.name, side.withoutDataset);
      return STATUS_PLATFORM_FAILED;
    }
  }
  const int status = fill();
  if (status != STATUS_SUCCESS && status != STATUS_NOT_ENOUGH_MEMORY) {
    ORMO_LOG_ERROR("Create %s dataset failed.", side.name);
  }
  return status;
}

int ModelManager::CreateIndependentOutput(const std::vector<OrmoDataInfo>& outputs) {
  return AddEach(
      zelmdlGetNumOutputs(modelDesc_), [&](size_t index) { return AddOutput(outputs, index); },
      [this] { DestroyOutput(); });
}

int ModelManager::CreateIndependentInput(const std::vector<OrmoDataInfo>& inputs) {
  return AddEach(
      zelmdlGetNumInputs(modelDesc_), [&](size_t index) { return AddInput(inputs, index); },
      [this] { DestroyInput(); });
}

int ModelManager::AddOutput(const std::vector<OrmoDataInfo>& outputs, size_t index) {
  OrmoDataInfo output;
  output.size = zelmdlGetOutputSizeByIndex(modelDesc_, index);
  if (index < outputs.size()) {
    output.size = outputs[index].size;
    if (IsUseDDRMem(socVersion_) && AreAllGiven(outputs)) {
      extraOutputSize_ += output.size;
    }
  }
  if (output.size == 0) {
    output.size = DEFAULT_OUTPUT_SIZE;
  }
  ORMO_LOG_DEBUG("Create independent output dataset with size : %zu byte(s)", output.size);
  return AddBuffer(OUTPUT, outputDataset_, index, output, output.size);
}

int ModelManager::AddInput(const std::vector<OrmoDataInfo>& inputs, size_t index) const {
  OrmoDataInfo input;
  if (index < inputs.size()) {
    input = inputs[index];
  } else {
    input.size = zelmdlGetInputSizeByIndex(modelDesc_, index);
  }
  ORMO_LOG_DEBUG("Create independent input dataset with size : %zu byte(s)", input.size);
  ORMO_LOG_DEBUG("Need extra output dataset size : %zu byte(s)", extraOutputSize_);
  int status = AddBuffer(INPUT, inputDataset_, index, input, input.size + extraOutputSize_);
  if (status == STATUS_SUCCESS) {
    status = SetTensorDesc(inputs, index);
    if (status != STATUS_SUCCESS) {
      ORMO_LOG_ERROR("Set tensor desc fialed.");
    }
  }
  return status;
}

int ModelManager::AddBuffer(const Side& side, zelmdlDataset* dataset, size_t index,
                            const OrmoDataInfo& content, size_t needed) const {
  int status = CheckAllocMemSize(needed);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_WARNING("Create %s[%zu] failed", side.name, index);
    return status;
  }
  void* address = nullptr;
  status = RtMalloc(&address, content.size);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Malloc device data buffer failed, ret : %d", status);
    return status;
  }
  DeviceMemory memory(address);
  zelrtMemset(address, content.size, 0, content.size);
  if (content.data != nullptr) {
    const int32_t code =
        zelrtMemcpy(address, content.size, content.data, content.size, ZEL_MEMCPY_HOST_TO_DEVICE);
    if (code != 0) {
      ORMO_LOG_ERROR("Memcpy host data buffer to device data buffer failed, ret : %d", code);
      return TranslateStatus(code, STATUS_DEVICE_MEMORY_FAILED);
    }
  }
  status = CreateDataSet(address, content.size, dataset);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Fill %s dataset failed.", side.filling);
    return status;
  }
  memory.Detach();
  return STATUS_SUCCESS;
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
  }
  DestroyDataset(inputDataset_);
}

void ModelManager::DestroyOutput() {
  if (outputDataset_ == nullptr) {
    ORMO_LOG_WARNING("Output dataset is nullptr");
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
