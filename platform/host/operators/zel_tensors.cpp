#include <sys/mman.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "graph/graph.h"
#include "operators/tensors.h"
#include "seam/host_call.h"
#include "seam/single.h"
#include "zel/zel.h"
#include "zel/zel_tensor.h"

namespace OrmoHost {
namespace {

std::string Describe(const std::optional<Shape>& shape) {
  return shape.has_value() ? ToText(*shape) : "none";
}

std::optional<Shape> CopyShape(const int64_t* dims, int64_t count) {
  if (count == ZEL_SHAPE_NOT_GIVEN) {
    return std::nullopt;
  }
  Require(count >= 0 && count <= ZEL_MAX_TENSOR_DIMS, OUT_OF_RANGE);
  Require(count == 0 || dims != nullptr, INVALID_ARGUMENT);
  return Shape(dims, dims + count);
}

// What a user's array pointer points to: unlike other handles it can be taken for an attribute's
// value, and read. No number, no count and no text that an attribute accepts; ends as a text.
struct Mark {
  uint64_t words[2] = {UINT64_MAX, 0};
};

// Addresses of marks, none of which is given out twice. All pages show the same few where the
// system permits it, so that only address space is used up.
class MarkAddresses {
 public:
  uintptr_t Next() {
    const std::lock_guard<std::mutex> lock(mutex_);
    RequireOpen();
    if (next_ == MARKS) {
      pieces_.reserve(pieces_.size() + 1);
      pieces_.push_back(pieces_.empty() ? MakePiece() : ShowAgain(pieces_.front()));
      next_ = 0;
    }
    return reinterpret_cast<uintptr_t>(pieces_.back() + next_++);
  }

  void Close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (Mark* piece : pieces_) {
      munmap(piece, BYTES);
    }
    Forget(pieces_);
    next_ = MARKS;
  }

 private:
  static constexpr size_t MARKS = 16384;
  static constexpr size_t BYTES = MARKS * sizeof(Mark);

  static Mark* Mapped(void* memory) {
    Require(memory != MAP_FAILED, ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION);
    return static_cast<Mark*>(memory);
  }

  static Mark* MakePiece() {
    Mark* piece =
        Mapped(mmap(nullptr, BYTES, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::uninitialized_fill_n(piece, MARKS, Mark());
    mprotect(piece, BYTES, PROT_READ);
    return piece;
  }

  // A size of 0 leaves the old mapping where it is; some tools that run a process refuse it.
  static Mark* ShowAgain(Mark* piece) {
    void* memory = mremap(piece, 0, BYTES, MREMAP_MAYMOVE);
    return memory != MAP_FAILED ? static_cast<Mark*>(memory) : MakePiece();
  }

  std::mutex mutex_;
  std::vector<Mark*> pieces_;
  size_t next_ = MARKS;  // in the last piece
};

template <typename Handle, typename Element>
Handle* CreateArray(const char* function, const Element* values, uint64_t size) {
  return Attempt(function, [&] {
    Require(size == 0 || values != nullptr, INVALID_ARGUMENT);
    auto array = std::make_shared<std::vector<Element>>(values, values + size);
    for (const Element value : *array) {
      Note(value);
    }
    uintptr_t handle = Single<MarkAddresses>().Next();
    Single<Arrays<Element>>().Add(handle, std::move(array));
    return reinterpret_cast<Handle*>(handle);  // NOLINT(performance-no-int-to-ptr): an address
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

void CloseArrays() {
  Single<MarkAddresses>().Close();
}

}  // namespace OrmoHost

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

zelTensor* zelCreateTensor(const int64_t* viewDims, int64_t viewDimCount, int32_t dataType,
                           const int64_t* strides, int64_t offset, int32_t format,
                           const int64_t* storageDims, int64_t storageDimCount, void* deviceData) {
  return Attempt("zelCreateTensor", [&] {
    Require(strides == nullptr && offset == 0, INVALID_ARGUMENT);
    Tensor tensor{CopyShape(viewDims, viewDimCount), CopyShape(storageDims, storageDimCount),
                  static_cast<ox::DataType>(dataType), deviceData};
    Note(
        dataType, format, [&] { return Describe(tensor.view); },
        [&] { return Describe(tensor.storage); });
    return Single<Tensors>().Make(std::move(tensor));
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
