/// \file
/// Attributes of an operator call: blocks on the host heap and the platform's arrays.
///
/// Whatever appends returns true, or false after an error line. A block that could not be made
/// leaves no entry, an array that the platform refused a null one.
#ifndef ORMO_SINGLE_OP_OP_ATTRIBUTES_H
#define ORMO_SINGLE_OP_OP_ATTRIBUTES_H

#include <cstdint>
#include <string>

#include "common/owner.h"
#include "single_op/op_request.h"

namespace Ormo {

void FreeHostBlock(void* block) noexcept;

/// Memory of malloc.
using HostBlock = Owner<void*, FreeHostBlock>;

bool AppendScalar(bool value, ZelnnParamterInner& inner);
bool AppendScalar(int64_t value, ZelnnParamterInner& inner);
bool AppendScalar(float value, ZelnnParamterInner& inner);
/// A copy that ends with a zero.
bool AppendScalar(const std::string& value, ZelnnParamterInner& inner);

/// The platform copies the values.
bool AppendArray(const int64_t* values, uint64_t count, ZelnnParamterInner& inner);
bool AppendArray(const bool* values, uint64_t count, ZelnnParamterInner& inner);
bool AppendArray(const float* values, uint64_t count, ZelnnParamterInner& inner);

/// Releases all attributes, each as its type says, and empties the lists.
void ReleaseAttrs(ZelnnParamterInner& inner) noexcept;

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_OP_ATTRIBUTES_H
