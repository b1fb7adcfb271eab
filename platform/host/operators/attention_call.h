/// \file
/// Calls of the attention operators, as they come in.
#ifndef ORMO_HOST_OPERATORS_ATTENTION_CALL_H
#define ORMO_HOST_OPERATORS_ATTENTION_CALL_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "operators/executor.h"
#include "zel/zel_tensor.h"

namespace OrmoHost {

struct TensorArgument {
  const char* name;
  size_t position;
  const zelTensor* tensor;
};

/// The nine attributes, in their order.
struct AttentionAttributes {
  size_t position;  ///< of the first
  const zelIntArray* reserved;
  double scale;
  double keepProbability;
  int64_t keysBefore;
  int64_t keysAfter;
  int64_t headCount;
  const char* layout;
  int64_t precisionMode;
  int64_t maskMode;
};

/// What both operators have.
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
};

struct AttentionGradientArguments {
  AttentionArguments forward;
  TensorArgument outGrad;
  TensorArgument queryGrad;
  TensorArgument keyGrad;
  TensorArgument valueGrad;
};

/// Check a call for the current device and make it ready. Throw a CallError for what does not fit.
Executor PrepareAttention(const AttentionArguments& arguments);
Executor PrepareAttentionGradients(const AttentionGradientArguments& arguments);

}  // namespace OrmoHost

#endif  // ORMO_HOST_OPERATORS_ATTENTION_CALL_H
