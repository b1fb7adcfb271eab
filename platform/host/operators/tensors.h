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

/// What a user's array pointer points to: unlike other handles it can be taken for an attribute's
/// value, and read.
template <typename Element>
struct Array {
  /// No number, no count and no text that an attribute accepts; ends as a text.
  uint64_t mark[2] = {UINT64_MAX, 0};
  std::vector<Element> values;
};

/// By address, which is what tells an array from any other pointer: nothing is read to find out.
template <typename Element>
using Arrays = Table<const Array<Element>>;

size_t CountArrays();
size_t ClearArrays();

}  // namespace OrmoHost

#endif  // ORMO_HOST_OPERATORS_TENSORS_H
