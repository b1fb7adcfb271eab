/// \file
/// Tensors of the graph engine: plain values.
#ifndef OX_TENSOR_H
#define OX_TENSOR_H

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "ox/types.h"

namespace ox {

/// Shape, layout and element type of a tensor.
class TensorDesc {
 public:
  TensorDesc() = default;

  TensorDesc(std::vector<int64_t> shape, Format format, DataType dataType)
      : shape_(std::move(shape)), format_(format), dataType_(dataType) {}

  const std::vector<int64_t>& GetShape() const { return shape_; }

  Format GetFormat() const { return format_; }

  DataType GetDataType() const { return dataType_; }

 private:
  std::vector<int64_t> shape_;
  Format format_ = FORMAT_ND;
  DataType dataType_ = DT_UNDEFINED;
};

/// A description with the tensor's bytes. The bytes never change, so copies share them. They are
/// made in the platform: a tensor may outlive the library that has asked for it.
class Tensor {
 public:
  Tensor();
  /// Takes a copy of `data`.
  Tensor(const TensorDesc& desc, const std::vector<uint8_t>& data);
  Tensor(const TensorDesc& desc, std::vector<uint8_t>&& data);

  const TensorDesc& GetTensorDesc() const { return desc_; }

  const std::vector<uint8_t>& GetData() const { return *data_; }

 private:
  TensorDesc desc_;
  std::shared_ptr<const std::vector<uint8_t>> data_;
};

}  // namespace ox

#endif  // OX_TENSOR_H
