#include "ox/tensor.h"

namespace ox {

Tensor::Tensor() : Tensor(TensorDesc(), std::vector<uint8_t>()) {}

Tensor::Tensor(const TensorDesc& desc, const std::vector<uint8_t>& data)
    : Tensor(desc, std::vector<uint8_t>(data)) {}

Tensor::Tensor(const TensorDesc& desc, std::vector<uint8_t>&& data)
    : desc_(desc), data_(std::make_shared<const std::vector<uint8_t>>(std::move(data))) {}

}  // namespace ox
