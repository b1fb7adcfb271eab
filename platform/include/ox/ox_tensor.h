/// \file
/// Tensor descriptions as a graph's nodes hold them.
#ifndef OX_OX_TENSOR_H
#define OX_OX_TENSOR_H

#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "ox/tensor.h"

namespace ox {

class OxShape {
 public:
  OxShape() = default;

  explicit OxShape(std::vector<int64_t> dims) : dims_(std::move(dims)) {}

  const std::vector<int64_t>& GetDims() const { return dims_; }

  /// Number of elements, 1 for a scalar; -1 when a dimension is unknown or the product does not
  /// fit.
  int64_t GetShapeSize() const {
    int64_t size = 1;
    for (const int64_t dim : dims_) {
      if (dim < 0 || (dim > 0 && size > std::numeric_limits<int64_t>::max() / dim)) {
        return -1;
      }
      size *= dim;
    }
    return size;
  }

 private:
  std::vector<int64_t> dims_;
};

class OxTensorDesc {
 public:
  OxTensorDesc() = default;

  OxTensorDesc(OxShape shape, Format format, DataType dataType)
      : shape_(std::move(shape)), format_(format), dataType_(dataType) {}

  const OxShape& GetShape() const { return shape_; }

  Format GetFormat() const { return format_; }

  DataType GetDataType() const { return dataType_; }

 private:
  OxShape shape_;
  Format format_ = FORMAT_ND;
  DataType dataType_ = DT_UNDEFINED;
};

class TensorAdapter {
 public:
  static TensorDesc OxTensorDesc2TensorDesc(const OxTensorDesc& desc) {
    return {desc.GetShape().GetDims(), desc.GetFormat(), desc.GetDataType()};
  }
};

}  // namespace ox

#endif  // OX_OX_TENSOR_H
