#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "graph/graph_file.h"
#include "graph/report.h"
#include "models/datasets.h"
#include "models/loaded_model.h"
#include "runtime/runtime.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "zel/zel_mdl.h"
#include "zel/zel_prof.h"

namespace OrmoHost {
namespace {

constexpr char IN_MEMORY[] = "model in memory";

std::string_view ImageText(const void* model, size_t modelSize) {
  Require(model != nullptr, INVALID_ARGUMENT);
  return {static_cast<const char*>(model), modelSize};
}

Model MakeModel(const std::string& origin, std::string_view image) {
  return Reporting(MODEL_REFUSED, origin, INVALID_MODEL, [&] { return Model(image); });
}

std::string ReadImage(const std::string& path) {
  return Reporting(MODEL_REFUSED, path, INVALID_MODEL, [&] { return ReadGraphText(path); });
}

// Loads into memory of the platform.
uint32_t Load(const std::string& origin, std::string_view image) {
  uint32_t device = GetCurrentContext()->device;
  Model model = MakeModel(origin, image);
  DeviceSpan work = AllocateSpan(device, model.WorkBytes(), MODEL_REFUSED, origin);
  DeviceSpan weights =
      AllocateSpan(device, model.GetProgram().WeightBytes(), MODEL_REFUSED, origin);
  return AddModel(device, origin, std::move(model), std::move(work), std::move(weights));
}

void CheckMemory(const Model& model, const DeviceSpan& work, const DeviceSpan& weights) {
  size_t workBytes = model.WorkBytes();
  size_t weightBytes = model.GetProgram().WeightBytes();
  if (work.size < workBytes || weights.size < weightBytes) {
    throw GraphError("", "",
                     std::to_string(workBytes) + " bytes of work memory and " +
                         std::to_string(weightBytes) + " of weight memory");
  }
  if (std::max(work.data, weights.data) <
      std::min(work.data + work.size, weights.data + weights.size)) {
    throw GraphError("", "", "work and weight memory that do not overlap");
  }
}

// Loads into memory of the user.
uint32_t LoadInto(std::string_view image, void* workPtr, size_t workSize, void* weightPtr,
                  size_t weightSize) {
  uint32_t device = GetCurrentContext()->device;
  return Reporting(MODEL_REFUSED, IN_MEMORY, INVALID_MODEL, [&] {
    Model model(image);
    DeviceSpan work = GetDeviceSpan(workPtr, workSize, device, "work");
    DeviceSpan weights = GetDeviceSpan(weightPtr, weightSize, device, "weights");
    CheckMemory(model, work, weights);
    return AddModel(device, IN_MEMORY, std::move(model), std::move(work), std::move(weights));
  });
}

}  // namespace

}  // namespace OrmoHost

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

int32_t zelmdlQuerySizeFromMem(const void* model, size_t modelSize, size_t* workSize,
                               size_t* weightSize) {
  return Attempt("zelmdlQuerySizeFromMem", [&] {
    Note(modelSize);
    GetCurrentContext();
    Require(workSize != nullptr && weightSize != nullptr, INVALID_ARGUMENT);
    Model queried = MakeModel(IN_MEMORY, ImageText(model, modelSize));
    *workSize = queried.WorkBytes();
    *weightSize = queried.GetProgram().WeightBytes();
  });
}

int32_t zelmdlLoadFromFile(const char* modelPath, uint32_t* modelId) {
  return Attempt("zelmdlLoadFromFile", [&] {
    Require(modelPath != nullptr && modelId != nullptr, INVALID_ARGUMENT);
    *modelId = Load(modelPath, ReadImage(modelPath));
    Note("#", *modelId);
  });
}

int32_t zelmdlLoadFromMem(const void* model, size_t modelSize, uint32_t* modelId) {
  return Attempt("zelmdlLoadFromMem", [&] {
    Require(modelId != nullptr, INVALID_ARGUMENT);
    *modelId = Load(IN_MEMORY, ImageText(model, modelSize));
    Note(modelSize, "#", *modelId);
  });
}

int32_t zelmdlLoadFromMemWithMem(const void* model, size_t modelSize, uint32_t* modelId,
                                 void* workPtr, size_t workSize, void* weightPtr,
                                 size_t weightSize) {
  return Attempt("zelmdlLoadFromMemWithMem", [&] {
    Require(modelId != nullptr, INVALID_ARGUMENT);
    *modelId = LoadInto(ImageText(model, modelSize), workPtr, workSize, weightPtr, weightSize);
    Note(modelSize, workSize, weightSize, "#", *modelId);
  });
}

int32_t zelmdlUnload(uint32_t modelId) {
  return Release("zelmdlUnload", [&] {
    Note("#", modelId);
    Require(Single<LoadedModels>().Take(modelId) != nullptr, UNKNOWN_MODEL);
  });
}

zelmdlDesc* zelmdlCreateDesc() {
  return Attempt("zelmdlCreateDesc", [] { return Single<Descs>().Make(); });
}

int32_t zelmdlGetDesc(zelmdlDesc* desc, uint32_t modelId) {
  return Attempt("zelmdlGetDesc", [&] {
    Note("#", modelId);
    *Single<Descs>().Get(desc) = GetModel(modelId)->GetModel().Description();
  });
}

int32_t zelmdlDestroyDesc(zelmdlDesc* desc) {
  return Release("zelmdlDestroyDesc", [&] { Single<Descs>().Remove(desc); });
}

size_t zelmdlGetNumInputs(zelmdlDesc* desc) {
  return Attempt("zelmdlGetNumInputs", [&] { return Single<Descs>().Get(desc)->inputs.size(); });
}

size_t zelmdlGetNumOutputs(zelmdlDesc* desc) {
  return Attempt("zelmdlGetNumOutputs", [&] { return Single<Descs>().Get(desc)->outputs.size(); });
}

size_t zelmdlGetInputSizeByIndex(zelmdlDesc* desc, size_t index) {
  return Attempt("zelmdlGetInputSizeByIndex", [&] {
    Note(index);
    std::shared_ptr<ModelDescription> found = Single<Descs>().Get(desc);
    Require(index < found->inputs.size(), OUT_OF_RANGE);
    return found->inputs[index].bytes;
  });
}

size_t zelmdlGetOutputSizeByIndex(zelmdlDesc* desc, size_t index) {
  return Attempt("zelmdlGetOutputSizeByIndex", [&] {
    Note(index);
    std::shared_ptr<ModelDescription> found = Single<Descs>().Get(desc);
    Require(index < found->outputs.size(), OUT_OF_RANGE);
    return found->outputs[index].bytes;
  });
}

int32_t zelmdlGetInputIndexByName(zelmdlDesc* desc, const char* name, size_t* index) {
  return Attempt("zelmdlGetInputIndexByName", [&] {
    std::shared_ptr<ModelDescription> found = Single<Descs>().Get(desc);
    Require(name != nullptr && index != nullptr, INVALID_ARGUMENT);
    Note(name);
    size_t i = 0;
    while (i < found->inputs.size() && found->inputs[i].name != name) {
      ++i;
    }
    Require(i < found->inputs.size(), NO_SUCH_INPUT);
    *index = i;
  });
}

int32_t zelprofModelSubscribe(uint32_t modelId, zelprofSubscribeConfig* config) {
  return Attempt("zelprofModelSubscribe", [&] {
    Note("#", modelId);
    GetModel(modelId)->Subscribe(Single<SubscribeConfigs>().Get(config), RecordStyle::WITH_STEPS);
  });
}

int32_t zelprofModelUnSubscribe(uint32_t modelId) {
  return Release("zelprofModelUnSubscribe", [&] {
    Note("#", modelId);
    GetModel(modelId)->Unsubscribe();
  });
}
