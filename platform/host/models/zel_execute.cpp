#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "control/host_call.h"
#include "models/datasets.h"
#include "models/model_store.h"
#include "models/report.h"
#include "runtime/codes.h"
#include "runtime/runtime.h"
#include "zel/zel_mdl.h"

namespace OrmoHost {
namespace {

std::vector<DeviceSpan> FindSpans(const Dataset& dataset) {
  std::vector<DeviceSpan> spans;
  for (zelDataBuffer* handle : dataset.buffers) {
    std::shared_ptr<DataBuffer> buffer = AllDataBuffers().Find(handle);
    spans.push_back(buffer == nullptr ? DeviceSpan() : FindDeviceSpan(buffer->data, buffer->size));
  }
  return spans;
}

int32_t Execute(uint32_t modelId, const zelmdlDataset* input, const zelmdlDataset* output) {
  std::shared_ptr<Context> context = Runtime::Instance().CurrentContext();
  if (context == nullptr) {
    return NO_CONTEXT;
  }
  std::shared_ptr<LoadedModel> model = ModelStore::Instance().Find(modelId);
  if (model == nullptr) {
    return UNKNOWN_MODEL;
  }
  if (model->Device() != context->device) {
    return WRONG_DEVICE;
  }
  std::shared_ptr<Dataset> inputs = AllDatasets().Find(input);
  std::shared_ptr<Dataset> outputs = AllDatasets().Find(output);
  if (inputs == nullptr || outputs == nullptr) {
    return UNKNOWN_HANDLE;
  }
  try {
    // A setting holds for one execution.
    return model->Execute({FindSpans(*inputs), FindSpans(*outputs), inputs->shapes,
                           std::exchange(inputs->setting, {})});
  } catch (const GraphError& error) {
    Report(EXECUTION_REFUSED, model->Origin(), error.what());
    return EXECUTION_FAILED;
  }
}

std::string ListSettings(const std::vector<Setting>& settings) {
  std::string text;
  for (const Setting& setting : settings) {
    text += (text.empty() ? "" : ", ") + ToText(setting);
  }
  return text;
}

int32_t SetSetting(uint32_t modelId, zelmdlDataset* dataset, size_t index, DynamicKind kind,
                   Setting setting) {
  std::shared_ptr<LoadedModel> model = ModelStore::Instance().Find(modelId);
  if (model == nullptr) {
    return UNKNOWN_MODEL;
  }
  std::shared_ptr<Dataset> found = AllDatasets().Find(dataset);
  if (found == nullptr) {
    return UNKNOWN_HANDLE;
  }
  const Program& program = model->GetModel().GetProgram();
  if (program.Dynamic() != kind || index + 1 != model->GetModel().Description().inputs.size()) {
    return NO_SUCH_INPUT;
  }
  if (model->GetModel().FindPlan(setting) == nullptr) {
    Report(EXECUTION_REFUSED, model->Origin(),
           "key \"dynamic\": expected one of " + ListSettings(program.Settings()) + "; not " +
               ToText(setting));
    return INVALID_SETTING;
  }
  found->setting = std::move(setting);
  return SUCCESS;
}

}  // namespace

}  // namespace OrmoHost

using OrmoHost::DynamicKind;
using OrmoHost::HostCall;
using OrmoHost::Setting;

int32_t zelmdlSetDynamicBatchSize(uint32_t modelId, zelmdlDataset* dataset, size_t index,
                                  uint64_t batchSize) {
  HostCall call("zelmdlSetDynamicBatchSize");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return OrmoHost::SetSetting(modelId, dataset, index, DynamicKind::BATCH,
                              {static_cast<int64_t>(batchSize)});
}

int32_t zelmdlSetDynamicHWSize(uint32_t modelId, zelmdlDataset* dataset, size_t index,
                               uint64_t height, uint64_t width) {
  HostCall call("zelmdlSetDynamicHWSize");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return OrmoHost::SetSetting(modelId, dataset, index, DynamicKind::IMAGE,
                              {static_cast<int64_t>(height), static_cast<int64_t>(width)});
}

int32_t zelmdlSetInputDynamicDims(uint32_t modelId, zelmdlDataset* dataset, size_t index,
                                  const zelmdlIODims* dims) {
  HostCall call("zelmdlSetInputDynamicDims");
  if (int32_t code = call.Fails()) {
    return code;
  }
  if (dims == nullptr || dims->dimCount > ZEL_MAX_DIM_CNT) {
    return OrmoHost::INVALID_ARGUMENT;
  }
  return OrmoHost::SetSetting(modelId, dataset, index, DynamicKind::DIMS,
                              Setting(dims->dims, dims->dims + dims->dimCount));
}

int32_t zelmdlExecute(uint32_t modelId, const zelmdlDataset* input, zelmdlDataset* output) {
  HostCall call("zelmdlExecute");
  int32_t code = call.Fails();
  return code != 0 ? code : OrmoHost::Execute(modelId, input, output);
}
