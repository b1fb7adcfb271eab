/// \file
/// Live tensors and arrays.
#ifndef ORMO_HOST_OPERATORS_TENSORS_H
#define ORMO_HOST_OPERATORS_TENSORS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "graph/graph.h"
#include "runtime/table.h"
#include "zel/zel_tensor.h"

namespace OrmoHost {

struct Tensor {
  std::optional<Shape> view;  ///< nothing: was not given
  std::optional<Shape> storage;
  ox::DataType dataType = ox::DT_UNDEFINED;
  void* data = nullptr;
};

using Tensors = HandleTable<zelTensor*, const Tensor>;

/// By handle, which is also what tells an array from any other pointer: nothing is read to find
/// out.
template <typename Element>
using Arrays = Table<const std::vector<Element>>;

size_t CountArrays();
size_t ClearArrays();

/// Gives up the addresses that have been handles; there are no more.
void CloseArrays();

}  // namespace OrmoHost

#endif  // ORMO_HOST_OPERATORS_TENSORS_H
