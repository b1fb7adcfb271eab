#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "control/host_call.h"
#include "control/undying.h"
#include "models/datasets.h"
#include "models/model_store.h"
#include "models/report.h"
#include "runtime/codes.h"
#include "runtime/runtime.h"
#include "zel/zel_mdl.h"

namespace OrmoHost {

HandleTable<zelmdlDesc*, ModelDescription>& AllDescs() {
  static Undying<HandleTable<zelmdlDesc*, ModelDescription>> instance;
  return *instance;
}

namespace {

constexpr char IN_MEMORY[] = "model in memory";

/// Where an image comes from, and its text.
struct Image {
  std::string origin;
  std::string_view text;
};

Image ImageInMemory(const void* model, size_t modelSize) {
  return {IN_MEMORY, {static_cast<const char*>(model), model == nullptr ? 0 : modelSize}};
}

/// Makes a model of the image for the calling thread's device; null when it was refused.
std::shared_ptr<LoadedModel> MakeModel(const Image& image, uint32_t device) {
  try {
    return std::make_shared<LoadedModel>(ModelStore::Instance().NextId(), device, image.origin,
                                         Model(image.text));
  } catch (const GraphError& error) {
    Report(MODEL_REFUSED, image.origin, error.what());
    return nullptr;
  }
}

DeviceSpan AllocateSpan(uint32_t device, size_t size) {
  std::shared_ptr<Block> block =
      DeviceMemory::Instance().Allocate(device, size, ZEL_MEM_MALLOC_HUGE_FIRST);
  return {block, block == nullptr ? nullptr : block->Data(), size};
}

int32_t Finish(const std::shared_ptr<LoadedModel>& model, DeviceSpan work, DeviceSpan weights,
               uint32_t& modelId) {
  model->UseMemory(std::move(work), std::move(weights));
  if (!ModelStore::Instance().Add(model)) {
    return NOT_INITIALIZED;
  }
  modelId = model->Id();
  return SUCCESS;
}

/// Loads into memory of the platform.
int32_t Load(const Image& image, uint32_t* modelId) {
  std::shared_ptr<Context> context = Runtime::Instance().CurrentContext();
  if (context == nullptr) {
    return NO_CONTEXT;
  }
  if (modelId == nullptr) {
    return INVALID_ARGUMENT;
  }
  std::shared_ptr<LoadedModel> model = MakeModel(image, context->device);
  if (model == nullptr) {
    return INVALID_MODEL;
  }
  size_t workBytes = model->GetModel().WorkBytes();
  size_t weightBytes = model->GetModel().GetProgram().WeightBytes();
  DeviceSpan work = AllocateSpan(context->device, workBytes);
  DeviceSpan weights = AllocateSpan(context->device, weightBytes);
  if (work.block == nullptr || weights.block == nullptr) {
    Report(MODEL_REFUSED, image.origin,
           "expected room on device " + std::to_string(context->device) + " for " +
               std::to_string(workBytes) + " bytes of work memory and " +
               std::to_string(weightBytes) + " bytes of weights");
    return ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION;
  }
  return Finish(model, std::move(work), std::move(weights), *modelId);
}

int32_t LoadFile(const char* modelPath, uint32_t* modelId) {
  if (modelPath == nullptr) {
    return INVALID_ARGUMENT;
  }
  std::ifstream stream(modelPath, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream) {
    Report(MODEL_REFUSED, modelPath, "expected a readable file");
    return INVALID_MODEL;
  }
  return Load({modelPath, text}, modelId);
}

/// Loads into memory of the user.
int32_t LoadInto(const Image& image, uint32_t* modelId, DeviceSpan work, DeviceSpan weights) {
  std::shared_ptr<Context> context = Runtime::Instance().CurrentContext();
  if (context == nullptr) {
    return NO_CONTEXT;
  }
  if (modelId == nullptr) {
    return INVALID_ARGUMENT;
  }
  if (work.block == nullptr || weights.block == nullptr) {
    return UNKNOWN_ADDRESS;
  }
  std::shared_ptr<LoadedModel> model = MakeModel(image, context->device);
  if (model == nullptr) {
    return INVALID_MODEL;
  }
  if (work.size < model->GetModel().WorkBytes() ||
      weights.size < model->GetModel().GetProgram().WeightBytes()) {
    return OUT_OF_RANGE;
  }
  return Finish(model, std::move(work), std::move(weights), *modelId);
}

int32_t QuerySize(const Image& image, size_t* workSize, size_t* weightSize) {
  if (Runtime::Instance().CurrentContext() == nullptr) {
    return NO_CONTEXT;
  }
  if (workSize == nullptr || weightSize == nullptr) {
    return INVALID_ARGUMENT;
  }
  try {
    Model model(image.text);
    *workSize = model.WorkBytes();
    *weightSize = model.GetProgram().WeightBytes();
    return SUCCESS;
  } catch (const GraphError& error) {
    Report(MODEL_REFUSED, image.origin, error.what());
    return INVALID_MODEL;
  }
}

}  // namespace

}  // namespace OrmoHost

using OrmoHost::AllDescs;
using OrmoHost::HostCall;
using OrmoHost::ModelDescription;
using OrmoHost::ModelStore;

int32_t zelmdlQuerySizeFromMem(const void* model, size_t modelSize, size_t* workSize,
                               size_t* weightSize) {
  HostCall call("zelmdlQuerySizeFromMem");
  int32_t code = call.Fails();
  return code != 0
             ? code
             : OrmoHost::QuerySize(OrmoHost::ImageInMemory(model, modelSize), workSize, weightSize);
}

int32_t zelmdlLoadFromFile(const char* modelPath, uint32_t* modelId) {
  HostCall call("zelmdlLoadFromFile");
  int32_t code = call.Fails();
  return code != 0 ? code : OrmoHost::LoadFile(modelPath, modelId);
}

int32_t zelmdlLoadFromMem(const void* model, size_t modelSize, uint32_t* modelId) {
  HostCall call("zelmdlLoadFromMem");
  int32_t code = call.Fails();
  return code != 0 ? code : OrmoHost::Load(OrmoHost::ImageInMemory(model, modelSize), modelId);
}

int32_t zelmdlLoadFromMemWithMem(const void* model, size_t modelSize, uint32_t* modelId,
                                 void* workPtr, size_t workSize, void* weightPtr,
                                 size_t weightSize) {
  HostCall call("zelmdlLoadFromMemWithMem");
  if (int32_t code = call.Fails()) {
    return code;
  }
  return OrmoHost::LoadInto(OrmoHost::ImageInMemory(model, modelSize), modelId,
                            OrmoHost::FindDeviceSpan(workPtr, workSize),
                            OrmoHost::FindDeviceSpan(weightPtr, weightSize));
}

int32_t zelmdlUnload(uint32_t modelId) {
  HostCall call("zelmdlUnload");
  bool wasLoaded = ModelStore::Instance().Remove(modelId);
  return call.After(wasLoaded ? OrmoHost::SUCCESS : OrmoHost::UNKNOWN_MODEL);
}

zelmdlDesc* zelmdlCreateDesc() {
  HostCall call("zelmdlCreateDesc");
  return call.Fails() != 0 ? nullptr : AllDescs().Add(std::make_shared<ModelDescription>());
}

int32_t zelmdlGetDesc(zelmdlDesc* desc, uint32_t modelId) {
  HostCall call("zelmdlGetDesc");
  if (int32_t code = call.Fails()) {
    return code;
  }
  std::shared_ptr<ModelDescription> found = AllDescs().Find(desc);
  if (found == nullptr) {
    return OrmoHost::UNKNOWN_HANDLE;
  }
  std::shared_ptr<OrmoHost::LoadedModel> model = ModelStore::Instance().Find(modelId);
  if (model == nullptr) {
    return OrmoHost::UNKNOWN_MODEL;
  }
  *found = model->GetModel().Description();
  return OrmoHost::SUCCESS;
}

int32_t zelmdlDestroyDesc(zelmdlDesc* desc) {
  HostCall call("zelmdlDestroyDesc");
  bool wasAlive = AllDescs().Remove(desc) != nullptr;
  return call.After(wasAlive ? OrmoHost::SUCCESS : OrmoHost::UNKNOWN_HANDLE);
}

size_t zelmdlGetNumInputs(zelmdlDesc* desc) {
  HostCall call("zelmdlGetNumInputs");
  std::shared_ptr<ModelDescription> found = AllDescs().Find(desc);
  return call.Fails() != 0 || found == nullptr ? 0 : found->inputs.size();
}

size_t zelmdlGetNumOutputs(zelmdlDesc* desc) {
  HostCall call("zelmdlGetNumOutputs");
  std::shared_ptr<ModelDescription> found = AllDescs().Find(desc);
  return call.Fails() != 0 || found == nullptr ? 0 : found->outputBytes.size();
}

size_t zelmdlGetInputSizeByIndex(zelmdlDesc* desc, size_t index) {
  HostCall call("zelmdlGetInputSizeByIndex");
  std::shared_ptr<ModelDescription> found = AllDescs().Find(desc);
  bool isKnown = call.Fails() == 0 && found != nullptr && index < found->inputs.size();
  return isKnown ? found->inputs[index].bytes : 0;
}

size_t zelmdlGetOutputSizeByIndex(zelmdlDesc* desc, size_t index) {
  HostCall call("zelmdlGetOutputSizeByIndex");
  std::shared_ptr<ModelDescription> found = AllDescs().Find(desc);
  bool isKnown = call.Fails() == 0 && found != nullptr && index < found->outputBytes.size();
  return isKnown ? found->outputBytes[index] : 0;
}

int32_t zelmdlGetInputIndexByName(zelmdlDesc* desc, const char* name, size_t* index) {
  HostCall call("zelmdlGetInputIndexByName");
  if (int32_t code = call.Fails()) {
    return code;
  }
  std::shared_ptr<ModelDescription> found = AllDescs().Find(desc);
  if (found == nullptr) {
    return OrmoHost::UNKNOWN_HANDLE;
  }
  if (name == nullptr || index == nullptr) {
    return OrmoHost::INVALID_ARGUMENT;
  }
  for (size_t i = 0; i < found->inputs.size(); ++i) {
    if (found->inputs[i].name == name) {
      *index = i;
      return OrmoHost::SUCCESS;
    }
  }
  return OrmoHost::NO_SUCH_INPUT;
}
