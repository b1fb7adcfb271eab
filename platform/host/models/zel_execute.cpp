#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "graph/graph.h"
#include "graph/report.h"
#include "models/datasets.h"
#include "models/loaded_model.h"
#include "runtime/runtime.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "zel/zel_mdl.h"

namespace OrmoHost {
namespace {

std::vector<DeviceSpan> GetSpans(const Dataset& dataset, uint32_t device, const char* use) {
  std::vector<DeviceSpan> spans;
  for (zelDataBuffer* handle : dataset.buffers) {
    std::shared_ptr<DataBuffer> buffer = Single<DataBuffers>().Get(handle);
    spans.push_back(
        GetDeviceSpan(buffer->data, buffer->size, device, use + std::to_string(spans.size())));
  }
  return spans;
}

void Execute(uint32_t modelId, const zelmdlDataset* input, const zelmdlDataset* output) {
  uint32_t device = GetCurrentContext()->device;
  std::shared_ptr<LoadedModel> model = GetModel(modelId);
  Require(model->Device() == device, WRONG_DEVICE);
  DatasetPair datasets{input, output, changeCount};
  if (model->Repeat(datasets)) {
    return;
  }
  std::shared_ptr<Dataset> inputs = Single<Datasets>().Get(input);
  std::shared_ptr<Dataset> outputs = Single<Datasets>().Get(output);
  Reporting(EXECUTION_REFUSED, model->Origin(), EXECUTION_FAILED, [&] {
    // A setting holds for one execution.
    Execution execution{GetSpans(*inputs, device, "input "), GetSpans(*outputs, device, "output "),
                        inputs->shapes, std::exchange(inputs->setting, {})};
    model->Execute(execution, &datasets);
  });
}

void RequireSetting(const Model& model, const Setting& setting) {
  if (model.FindPlan(setting) != nullptr) {
    return;
  }
  std::string allowed;
  for (const Setting& declared : model.GetProgram().Settings()) {
    allowed += ToText(declared) + ", ";
  }
  throw GraphError("", "dynamic", "one of " + allowed + "not " + ToText(setting));
}

void ApplySetting(uint32_t modelId, zelmdlDataset* dataset, size_t index, DynamicKind kind,
                  Setting setting) {
  std::shared_ptr<LoadedModel> loaded = GetModel(modelId);
  const Model& model = loaded->GetModel();
  std::shared_ptr<Dataset> found = Single<Datasets>().Get(dataset);
  bool isSettingInput = index + 1 == model.Description().inputs.size();
  Require(isSettingInput && model.GetProgram().Dynamic() == kind, NO_SUCH_INPUT);
  Reporting(EXECUTION_REFUSED, loaded->Origin(), INVALID_SETTING,
            [&] { RequireSetting(model, setting); });
  Note("#", modelId, index, [&] { return ToText(setting); });
  found->setting = std::move(setting);
}

}  // namespace

}  // namespace OrmoHost

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

int32_t zelmdlSetDynamicBatchSize(uint32_t modelId, zelmdlDataset* dataset, size_t index,
                                  uint64_t batchSize) {
  return Attempt("zelmdlSetDynamicBatchSize", [&] {
    ApplySetting(modelId, dataset, index, DynamicKind::BATCH, {static_cast<int64_t>(batchSize)});
  });
}

int32_t zelmdlSetDynamicHWSize(uint32_t modelId, zelmdlDataset* dataset, size_t index,
                               uint64_t height, uint64_t width) {
  return Attempt("zelmdlSetDynamicHWSize", [&] {
    ApplySetting(modelId, dataset, index, DynamicKind::IMAGE,
                 {static_cast<int64_t>(height), static_cast<int64_t>(width)});
  });
}

int32_t zelmdlSetInputDynamicDims(uint32_t modelId, zelmdlDataset* dataset, size_t index,
                                  const zelmdlIODims* dims) {
  return Attempt("zelmdlSetInputDynamicDims", [&] {
    Require(dims != nullptr && dims->dimCount <= ZEL_MAX_DIM_CNT, INVALID_ARGUMENT);
    ApplySetting(modelId, dataset, index, DynamicKind::DIMS,
                 Setting(dims->dims, dims->dims + dims->dimCount));
  });
}

int32_t zelmdlExecute(uint32_t modelId, const zelmdlDataset* input, zelmdlDataset* output) {
  return Attempt("zelmdlExecute", [&] {
    Note("#", modelId);
    Execute(modelId, input, output);
  });
}
