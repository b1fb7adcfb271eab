/// \file
/// Element types and layouts of the graph engine's tensors.
#ifndef OX_TYPES_H
#define OX_TYPES_H

#include <cstdint>

namespace ox {

enum DataType : int32_t {
  DT_FLOAT = 0,
  DT_FLOAT16 = 1,
  DT_INT8 = 2,
  DT_INT32 = 3,
  DT_UINT8 = 4,
  DT_INT64 = 9,
  DT_DOUBLE = 11,
  DT_BOOL = 12,
  DT_UNDEFINED = 28,
};

enum Format : int32_t {
  FORMAT_NCHW = 0,
  FORMAT_NHWC = 1,
  FORMAT_ND = 2,
  FORMAT_NULL = 48,
};

/// Bytes of `count` elements; -1 for a negative count, a type without a size, and when they are too
/// many to count.
int64_t GetSizeInBytes(int64_t count, DataType dataType);

}  // namespace ox

#endif  // OX_TYPES_H
