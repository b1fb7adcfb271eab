/// \file
/// Tensors and arrays that operators are called with.
///
/// Types and formats are the codes of ox/types.h. Whatever is created is released by the function
/// of that name; a handle that is not alive is answered with a code, never followed, and not given
/// out again. Any thread.
#ifndef ZEL_ZEL_TENSOR_H
#define ZEL_ZEL_TENSOR_H

#include <cstdint>

struct zelTensor;
struct zelIntArray;
struct zelFloatArray;
struct zelBoolArray;
/// A prepared call of an operator: made by the operator's workspace query, ended by its execution.
struct zelOpExecutor;

/// In place of a number of dimensions: no shape is given and no dimension is read.
constexpr int64_t ZEL_SHAPE_NOT_GIVEN = -1;
constexpr int64_t ZEL_MAX_TENSOR_DIMS = 25;

extern "C" {

/// A tensor over memory that stays the caller's; dimensions are copied. `viewDims` is the shape
/// that operators see, `storageDims` that of the memory, the same when it is not given. `strides`
/// is null and `offset` 0: elements lie row by row without gaps. `deviceData` may be null; a call
/// that needs it is refused. Answers null for other strides or offsets, numbers of dimensions
/// outside ZEL_SHAPE_NOT_GIVEN to ZEL_MAX_TENSOR_DIMS, and dimensions that are needed and null.
zelTensor* zelCreateTensor(const int64_t* viewDims, int64_t viewDimCount, int32_t dataType,
                           const int64_t* strides, int64_t offset, int32_t format,
                           const int64_t* storageDims, int64_t storageDimCount, void* deviceData);
int32_t zelDestroyTensor(const zelTensor* tensor);

/// Copies `size` values, of which there may be none; null when there are some and `values` is null.
/// An array has at least 16 readable bytes. They hold no value that an attribute may have, so that
/// one taken for an attribute is recognised.
zelIntArray* zelCreateIntArray(const int64_t* values, uint64_t size);
zelFloatArray* zelCreateFloatArray(const float* values, uint64_t size);
zelBoolArray* zelCreateBoolArray(const bool* values, uint64_t size);
int32_t zelDestroyIntArray(const zelIntArray* array);
int32_t zelDestroyFloatArray(const zelFloatArray* array);
int32_t zelDestroyBoolArray(const zelBoolArray* array);

}  // extern "C"

#endif  // ZEL_ZEL_TENSOR_H
