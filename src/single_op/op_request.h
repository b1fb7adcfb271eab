/// \file
/// One operator call, described as JSON text, as the platform's objects.
#ifndef ORMO_SINGLE_OP_OP_REQUEST_H
#define ORMO_SINGLE_OP_OP_REQUEST_H

#include <cstdint>
#include <string>
#include <vector>

#include "zel/zel.h"
#include "zel/zel_tensor.h"

namespace Ormo {

/// What an attribute is, and with that how it is released.
constexpr uint8_t HOST_BLOCK_ATTR = 0;
constexpr uint8_t INT_ARRAY_ATTR = 1;
constexpr uint8_t BOOL_ARRAY_ATTR = 2;
constexpr uint8_t FLOAT_ARRAY_ATTR = 3;

/// The parameters of one operator call. Owns everything that its lists point to, but only
/// ZelnnParamterDestructor releases it: the object's own end frees the lists' storage alone.
struct ZelnnParamterInner {
  std::string opType;               ///< selects the launcher
  std::vector<zelTensor*> inputs;   ///< one for each input; null for an absent one
  std::vector<zelTensor*> outputs;  ///< one for each output; null for an absent one
  /// One for each attribute: a block on the host heap with a scalar or a zero-terminated text, or
  /// an array object. A block has at least 16 bytes, zeros behind the value, so that whoever takes
  /// it for another scalar stays within it.
  std::vector<void*> attrs;
  std::vector<uint8_t> attrTypes;     ///< what each entry of `attrs` is; as long as `attrs`
  std::vector<void*> deviceBuffers;   ///< every buffer taken for a tensor, in order; may hold nulls
  uint64_t workspaceSize = 0;         ///< written by the operator's workspace query
  zelrtStream stream = nullptr;       ///< null: the default stream
  zelOpExecutor* executor = nullptr;  ///< written by the operator's workspace query
};

/// Builds `inner`, which must be empty, from a request in JSON. The calling thread's context must
/// be current: device memory is taken, and filled with zeros.
///
/// 0, or STATUS_FAILED after an error line when the text is no JSON, a key of the request or an
/// attribute is missing or wrong, or a shape has more than 25 entries; `inner` then holds nothing
/// that needs release. A tensor that cannot be made is no failure: after an error line its slot is
/// null. What else is thrown, such as std::bad_alloc, comes out, with `inner` released.
int ZelnnParamterConstructor(const std::string& json, ZelnnParamterInner& inner);

/// Releases every tensor, device buffer and attribute, in this order, whatever the platform says to
/// each, and empties the lists. Leaves `opType` and `workspaceSize` as they are. Always 0.
int ZelnnParamterDestructor(ZelnnParamterInner& inner) noexcept;

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_OP_REQUEST_H
