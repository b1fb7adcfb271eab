#include "single_op/op_tensors.h"

#include <algorithm>

#include "common/log.h"
#include "common/platform_handles.h"
#include "common/scope_exit.h"

namespace Ormo {

namespace {

// The product; a negative number when it cannot be told in 64 bits.
int64_t CountElements(const Shape& shape) {
  if (!shape) {
    return 1;
  }
  if (std::find(shape->begin(), shape->end(), 0) != shape->end()) {
    return 0;
  }
  int64_t count = 1;
  for (const int64_t dim : *shape) {
    if (__builtin_mul_overflow(count, dim, &count)) {
      return -1;
    }
  }
  return count;
}

// Appends the memory of `count` elements. False after an error line.
bool TakeMemory(int64_t count, ox::DataType dataType, std::vector<void*>& deviceBuffers) {
  if (count == 0) {
    deviceBuffers.push_back(nullptr);
    return true;
  }
  const int64_t bytes = ox::GetSizeInBytes(count, dataType);
  if (bytes < 0) {
    ORMO_LOG_ERROR("TensorSize[%zu]GetSizeInBytes[%d] failed!", static_cast<size_t>(count),
                   static_cast<int>(dataType));
    return false;
  }
  const auto size = static_cast<size_t>(bytes);
  void* memory = nullptr;
  if (zelrtMalloc(&memory, size, ZEL_MEM_MALLOC_POLICY_2) != 0) {
    ORMO_LOG_ERROR("zelrtMalloc[%zu] failed!", static_cast<size_t>(count));
    return false;
  }
  DeviceMemory owner(memory);
  deviceBuffers.push_back(memory);
  owner.Detach();
  if (zelrtMemset(memory, size, 0, size) != 0) {
    ORMO_LOG_ERROR("zelrtMemset[%zu] failed!", static_cast<size_t>(count));
    return false;
  }
  return true;
}

const int64_t* DimsOf(const Shape& shape) {
  return shape ? shape->data() : nullptr;
}

int64_t DimCountOf(const Shape& shape) {
  return shape ? static_cast<int64_t>(shape->size()) : ZEL_SHAPE_NOT_GIVEN;
}

}  // namespace

void AppendTensor(const TensorRequest& request, std::vector<zelTensor*>& tensors,
                  std::vector<void*>& deviceBuffers) {
  tensors.push_back(nullptr);
  if (!TakeMemory(CountElements(request.viewShape), request.dataType, deviceBuffers)) {
    return;
  }
  const Shape& view = request.viewShape;
  const Shape& storage = request.storageShape;
  tensors.back() =
      zelCreateTensor(DimsOf(view), DimCountOf(view), request.dataType, nullptr, 0, request.format,
                      DimsOf(storage), DimCountOf(storage), deviceBuffers.back());
}

void ReleaseTensors(std::vector<zelTensor*>& tensors) noexcept {
  for (zelTensor* tensor : tensors) {
    if (tensor != nullptr) {
      ReleaseQuietly("a tensor", [tensor] { return zelDestroyTensor(tensor); });
    }
  }
  tensors.clear();
}

void ReleaseDeviceBuffers(std::vector<void*>& deviceBuffers) noexcept {
  for (void* buffer : deviceBuffers) {
    if (buffer != nullptr) {
      FreeDeviceMemory(buffer);
    }
  }
  deviceBuffers.clear();
}

}  // namespace Ormo
