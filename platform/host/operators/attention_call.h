/// \file
/// Calls of the attention operators, as they come in.
#ifndef ORMO_HOST_OPERATORS_ATTENTION_CALL_H
#define ORMO_HOST_OPERATORS_ATTENTION_CALL_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "operators/operands.h"
#include "zel/zel_tensor.h"

namespace OrmoHost {

/// The nine attributes, in their order.
struct AttentionAttributes {
  size_t position = 0;  ///< of the first
  const zelIntArray* reserved = nullptr;
  double scale = 0;
  double keepProbability = 0;
  int64_t keysBefore = 0;
  int64_t keysAfter = 0;
  int64_t headCount = 0;
  const char* layout = nullptr;
  int64_t precisionMode = 0;
  int64_t maskMode = 0;
};

/// The tensors of both operators, and the attributes.
struct AttentionArguments {
  TensorArgument query;
  TensorArgument key;
  TensorArgument value;
  TensorArgument mask;
  TensorArgument softmaxMax;
  TensorArgument softmaxSum;
  TensorArgument out;
  std::vector<TensorArgument> reserved;
  AttentionAttributes attributes;
  TensorArgument outGrad = {};  ///< this and what follows: of the gradients' call
  TensorArgument queryGrad = {};
  TensorArgument keyGrad = {};
  TensorArgument valueGrad = {};
};

/// Checks a call for the current device and makes it ready. Throws a CallError for what does not
/// fit.
Executor PrepareAttention(OperatorKind kind, const AttentionArguments& arguments);

}  // namespace OrmoHost

#endif  // ORMO_HOST_OPERATORS_ATTENTION_CALL_H
