/// \file
/// Tensors of an operator call, with memory of their own.
#ifndef ORMO_SINGLE_OP_OP_TENSORS_H
#define ORMO_SINGLE_OP_OP_TENSORS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "ox/types.h"
#include "zel/zel_tensor.h"

namespace Ormo {

/// Without a value: not given, which is not the same as without dimensions.
using Shape = std::optional<std::vector<int64_t>>;

struct TensorRequest {
  ox::DataType dataType = ox::DT_UNDEFINED;
  ox::Format format = ox::FORMAT_NULL;
  Shape viewShape;  ///< its product is the number of elements; one element when it is not given
  Shape storageShape;
};

/// Appends a tensor over zeroed device memory of its own, and that memory to `deviceBuffers`: null
/// when there are no elements. Appends a null tensor, after an error line, when the size cannot be
/// told or the platform has no memory, and without one when it refuses the tensor.
void AppendTensor(const TensorRequest& request, std::vector<zelTensor*>& tensors,
                  std::vector<void*>& deviceBuffers);

/// Destroys all tensors and empties the list.
void ReleaseTensors(std::vector<zelTensor*>& tensors) noexcept;

/// Frees all buffers and empties the list.
void ReleaseDeviceBuffers(std::vector<void*>& deviceBuffers) noexcept;

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_OP_TENSORS_H
