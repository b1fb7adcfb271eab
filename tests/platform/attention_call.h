/// \file
/// Calls of the attention operators, and tensors for them.
#ifndef ORMO_TESTS_PLATFORM_ATTENTION_CALL_H
#define ORMO_TESTS_PLATFORM_ATTENTION_CALL_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ox/types.h"
#include "zel/zel.h"
#include "zel/zel_tensor.h"

namespace Ormo::Testing {

using Values = std::vector<double>;

/// A tensor over device memory of its own; zeros unless there are values.
class DeviceTensor {
 public:
  DeviceTensor(const std::vector<int64_t>& shape, ox::DataType type, const Values& values = {});
  ~DeviceTensor();
  DeviceTensor(const DeviceTensor&) = delete;
  DeviceTensor& operator=(const DeviceTensor&) = delete;

  zelTensor* Get() const { return tensor_; }

  void* Data() const { return data_; }

  Values Read() const;

 private:
  ox::DataType type_;
  size_t count_;
  void* data_ = nullptr;
  zelTensor* tensor_;
};

/// All parameters of a query, `INPUTS` being 7 for attention and 12 for its gradients. Needs
/// tensors and heads to be accepted.
template <size_t INPUTS>
struct AttentionCall {
  const zelTensor* inputs[INPUTS] = {};
  const zelIntArray* list = nullptr;
  double scale = 0.5;
  double keepProbability = 1;
  int64_t keysBefore = INT32_MAX;
  int64_t keysAfter = INT32_MAX;
  int64_t heads = 1;
  const char* layout = "BSH";
  int64_t precisionMode = 0;
  int64_t maskMode = 0;
  const zelTensor* outputs[4] = {};
  uint64_t workspaceSize = 0;
  zelOpExecutor* executor = nullptr;

  int32_t Query();
  int32_t Execute(void* workspace, zelrtStream stream = nullptr) const;
  /// Both, with device memory of just the size that the query asks for.
  int32_t Run();
};

using ForwardCall = AttentionCall<7>;
using BackwardCall = AttentionCall<12>;

/// The sizes of attention, and how its tensors are stored.
struct AttentionProblem {
  size_t batches, heads, queries, keys, depth;
  const char* layout;  ///< BSH or BNSD
  ox::DataType type;

  bool IsByHead() const { return layout[1] == 'N'; }

  /// Of query or key, which have that many rows a head.
  std::vector<int64_t> Shape(size_t rows) const;
};

/// All tensors of a problem but the mask, and both calls on them.
struct AttentionTensors {
  explicit AttentionTensors(const AttentionProblem& p, const Values& queryValues = {},
                            const Values& keyValues = {}, const Values& valueValues = {},
                            const Values& outGradValues = {});

  DeviceTensor query, key, value, softmaxMax, softmaxSum, out;
  DeviceTensor outGrad, queryGrad, keyGrad, valueGrad;
  ForwardCall forward;
  BackwardCall backward;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_PLATFORM_ATTENTION_CALL_H
