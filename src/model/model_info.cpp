#include "model/model_info.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "common/log.h"
#include "common/scope_exit.h"
#include "model/dynamic_types.h"
#include "ormo/status.h"
#include "zel/zel_mdl_info.h"

// Weak: the address of a function that the platform lacks is null, and the library loads all the
// same. Unlike names that are looked up, these come with their signatures.
#pragma weak zelmdlGetInputInfo
#pragma weak zelmdlGetOutputInfo
#pragma weak zelmdlGetDynamicInfo
#pragma weak zelmdlGetMemoryInfo

namespace Ormo {
namespace {

// Whether the platform has the function, and it told.
template <typename Function, typename... Arguments>
bool Ask(const char* what, Function* function, Arguments... arguments) {
  if (function == nullptr) {
    return false;
  }
  const int32_t code = function(arguments...);
  if (code != 0) {
    ORMO_LOG_WARNING("The platform does not tell %s, ret : %d", what, code);
  }
  return code == 0;
}

// The inputs, or the outputs, of `info`.
struct Side {
  std::vector<uint64_t>& sizes;
  std::vector<std::string>& names;
  std::vector<uint32_t>& types;
  std::vector<std::vector<int64_t>>& shapes;
};

// All tensors of the side, or none: an entry has no way to say that it is unknown.
void DescribeTensors(zelmdlDesc* desc, const char* what, decltype(&zelmdlGetInputInfo) function,
                     const Side& side) {
  std::vector<std::string> names;
  std::vector<uint32_t> types;
  std::vector<std::vector<int64_t>> shapes;
  for (size_t index = 0; index < side.sizes.size(); ++index) {
    zelmdlTensorInfo tensor = {};
    if (!Ask(what, function, desc, index, &tensor)) {
      return;
    }
    names.emplace_back(tensor.name == nullptr ? "" : tensor.name);
    types.push_back(static_cast<uint32_t>(tensor.dataType));
    shapes.emplace_back(tensor.dims, tensor.dims + tensor.dimCount);
  }
  side.names = std::move(names);
  side.types = std::move(types);
  side.shapes = std::move(shapes);
}

// Null for a kind that is not known.
const char* TypeOf(int32_t kind) {
  switch (kind) {
    case ZEL_DYNAMIC_NONE:
      return "";
    case ZEL_DYNAMIC_BATCH:
      return BATCH_SIZE_TYPE;
    case ZEL_DYNAMIC_HW:
      return IMAGE_SIZE_TYPE;
    case ZEL_DYNAMIC_DIMS:
      return DIMS_TYPE;
    default:
      return nullptr;
  }
}

// As RunnerConfig::dynamicParam takes it.
std::string ToParam(const int64_t* values, size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    text += (i == 0 ? "" : ",") + std::to_string(values[i]);
  }
  return text;
}

void DescribeSettings(zelmdlDesc* desc, OfflineModelInfo& info) {
  zelmdlDynamicInfo dynamic = {};
  if (!Ask("dynamic settings", zelmdlGetDynamicInfo, desc, &dynamic)) {
    return;
  }
  const char* const type = TypeOf(dynamic.kind);
  if (type == nullptr) {
    ORMO_LOG_WARNING("Dynamic settings of kind %d are not known", dynamic.kind);
    return;
  }
  info.isDynamicKnown = true;
  info.dynamicType = type;
  for (size_t i = 0; i < dynamic.settingCount; ++i) {
    info.dynamicParams.push_back(
        ToParam(dynamic.values + i * dynamic.valueCount, dynamic.valueCount));
  }
}

void DescribeMemory(zelmdlDesc* desc, OfflineModelInfo& info) {
  size_t work = 0;
  size_t weight = 0;
  if (Ask("a model's memory", zelmdlGetMemoryInfo, desc, &work, &weight)) {
    info.workSize = work;
    info.weightSize = weight;
  }
}

}  // namespace

int CreateModelDesc(uint32_t modelId, zelmdlDesc*& desc, CallSite site) {
  desc = zelmdlCreateDesc();
  if (desc == nullptr) {
    ORMO_LOG_ERROR_AT(site, "Create model description failed, ret : nullptr");
    return STATUS_FAILED;
  }
  const int32_t code = zelmdlGetDesc(desc, modelId);
  if (code != 0) {
    ORMO_LOG_ERROR_AT(site, "Get model description failed, ret : %d", code);
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int DescribeModel(uint32_t modelId, OfflineModelInfo& info) {
  zelmdlDesc* desc = nullptr;
  const ScopeExit destroy("a model description",
                          [&desc] { return desc == nullptr ? 0 : zelmdlDestroyDesc(desc); });
  const int status = CreateModelDesc(modelId, desc);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  info.inputSizes.resize(zelmdlGetNumInputs(desc));
  for (size_t index = 0; index < info.inputSizes.size(); ++index) {
    info.inputSizes[index] = zelmdlGetInputSizeByIndex(desc, index);
  }
  info.outputSizes.resize(zelmdlGetNumOutputs(desc));
  for (size_t index = 0; index < info.outputSizes.size(); ++index) {
    info.outputSizes[index] = zelmdlGetOutputSizeByIndex(desc, index);
  }
  DescribeTensors(desc, "an input", zelmdlGetInputInfo,
                  {info.inputSizes, info.inputNames, info.inputTypes, info.inputShapes});
  DescribeTensors(desc, "an output", zelmdlGetOutputInfo,
                  {info.outputSizes, info.outputNames, info.outputTypes, info.outputShapes});
  DescribeSettings(desc, info);
  DescribeMemory(desc, info);
  return STATUS_SUCCESS;
}

}  // namespace Ormo
