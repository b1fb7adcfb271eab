#include <memory>

#include "models/datasets.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "zel/zel_mdl_info.h"

namespace OrmoHost {
namespace {

zelmdlTensorInfo FindTensor(const std::vector<TensorDescription>& tensors, size_t index) {
  Note(index);
  Require(index < tensors.size(), OUT_OF_RANGE);
  const TensorDescription& tensor = tensors[index];
  return {tensor.name.c_str(), tensor.spec.dataType, tensor.spec.shape.data(),
          tensor.spec.shape.size()};
}

zelmdlDynamicKind ToPlatform(DynamicKind kind) {
  switch (kind) {
    case DynamicKind::BATCH:
      return ZEL_DYNAMIC_BATCH;
    case DynamicKind::IMAGE:
      return ZEL_DYNAMIC_HW;
    case DynamicKind::DIMS:
      return ZEL_DYNAMIC_DIMS;
    default:
      return ZEL_DYNAMIC_NONE;
  }
}

}  // namespace
}  // namespace OrmoHost

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

int32_t zelmdlGetInputInfo(zelmdlDesc* desc, size_t index, zelmdlTensorInfo* info) {
  return Attempt("zelmdlGetInputInfo", [&] {
    Require(info != nullptr, INVALID_ARGUMENT);
    *info = FindTensor(Single<Descs>().Get(desc)->inputs, index);
  });
}

int32_t zelmdlGetOutputInfo(zelmdlDesc* desc, size_t index, zelmdlTensorInfo* info) {
  return Attempt("zelmdlGetOutputInfo", [&] {
    Require(info != nullptr, INVALID_ARGUMENT);
    *info = FindTensor(Single<Descs>().Get(desc)->outputs, index);
  });
}

int32_t zelmdlGetDynamicInfo(zelmdlDesc* desc, zelmdlDynamicInfo* info) {
  return Attempt("zelmdlGetDynamicInfo", [&] {
    Require(info != nullptr, INVALID_ARGUMENT);
    std::shared_ptr<ModelDescription> found = Single<Descs>().Get(desc);
    *info = {ToPlatform(found->dynamicKind), found->settingCount, 0, found->settings.data()};
    if (found->settingCount != 0) {
      info->valueCount = found->settings.size() / found->settingCount;
    }
  });
}

int32_t zelmdlGetMemoryInfo(zelmdlDesc* desc, size_t* workSize, size_t* weightSize) {
  return Attempt("zelmdlGetMemoryInfo", [&] {
    Require(workSize != nullptr && weightSize != nullptr, INVALID_ARGUMENT);
    std::shared_ptr<ModelDescription> found = Single<Descs>().Get(desc);
    *workSize = found->workBytes;
    *weightSize = found->weightBytes;
  });
}
