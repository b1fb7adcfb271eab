#include <memory>
#include <optional>

#include "control/host_call.h"
#include "control/single.h"
#include "operators/tensors.h"
#include "zel/zel_tensor.h"

namespace OrmoHost {
namespace {

std::optional<Shape> CopyShape(const int64_t* dims, int64_t count) {
  if (count == ZEL_SHAPE_NOT_GIVEN) {
    return std::nullopt;
  }
  Require(count >= 0 && count <= ZEL_MAX_TENSOR_DIMS, OUT_OF_RANGE);
  Require(count == 0 || dims != nullptr, INVALID_ARGUMENT);
  return Shape(dims, dims + count);
}

template <typename Handle, typename Element>
Handle* CreateArray(const char* function, const Element* values, uint64_t size) {
  return Attempt(function, [&] {
    Require(size == 0 || values != nullptr, INVALID_ARGUMENT);
    auto array = std::make_shared<Array<Element>>();
    array->values.assign(values, values + size);
    auto* address = array.get();
    Single<Arrays<Element>>().Add(reinterpret_cast<uintptr_t>(address), std::move(array));
    return reinterpret_cast<Handle*>(address);
  });
}

template <typename Element>
int32_t DestroyArray(const char* function, const void* array) {
  return Release(function, [&] {
    auto taken = Single<Arrays<Element>>().Take(reinterpret_cast<uintptr_t>(array));
    Require(taken != nullptr, UNKNOWN_HANDLE);
  });
}

}  // namespace

size_t CountArrays() {
  return Single<Arrays<int64_t>>().Size() + Single<Arrays<float>>().Size() +
         Single<Arrays<bool>>().Size();
}

size_t ClearArrays() {
  return Single<Arrays<int64_t>>().Clear() + Single<Arrays<float>>().Clear() +
         Single<Arrays<bool>>().Clear();
}

}  // namespace OrmoHost

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

zelTensor* zelCreateTensor(const int64_t* viewDims, int64_t viewDimCount, int32_t dataType,
                           const int64_t* strides, int64_t offset, int32_t /*format*/,
                           const int64_t* storageDims, int64_t storageDimCount, void* deviceData) {
  return Attempt("zelCreateTensor", [&] {
    Require(strides == nullptr && offset == 0, INVALID_ARGUMENT);
    return Single<Tensors>().Make(Tensor{CopyShape(viewDims, viewDimCount),
                                         CopyShape(storageDims, storageDimCount),
                                         static_cast<ox::DataType>(dataType), deviceData});
  });
}

int32_t zelDestroyTensor(const zelTensor* tensor) {
  return Release("zelDestroyTensor", [&] { Single<Tensors>().Remove(tensor); });
}

zelIntArray* zelCreateIntArray(const int64_t* values, uint64_t size) {
  return CreateArray<zelIntArray>("zelCreateIntArray", values, size);
}

zelFloatArray* zelCreateFloatArray(const float* values, uint64_t size) {
  return CreateArray<zelFloatArray>("zelCreateFloatArray", values, size);
}

zelBoolArray* zelCreateBoolArray(const bool* values, uint64_t size) {
  return CreateArray<zelBoolArray>("zelCreateBoolArray", values, size);
}

int32_t zelDestroyIntArray(const zelIntArray* array) {
  return DestroyArray<int64_t>("zelDestroyIntArray", array);
}

int32_t zelDestroyFloatArray(const zelFloatArray* array) {
  return DestroyArray<float>("zelDestroyFloatArray", array);
}

int32_t zelDestroyBoolArray(const zelBoolArray* array) {
  return DestroyArray<bool>("zelDestroyBoolArray", array);
}
