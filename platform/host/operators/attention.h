/// \file
/// The arithmetic of attention and of its gradients.
#ifndef ORMO_HOST_OPERATORS_ATTENTION_H
#define ORMO_HOST_OPERATORS_ATTENTION_H

#include <cstddef>
#include <cstdint>

namespace OrmoHost {

/// How query, key, value and what has their shape lie in memory.
enum class AttentionLayout { BSH, BNSD };

/// A checked call: all that it points to is there. Operands hold float32, or float16 where `isHalf`
/// says so; the softmax operands always float32.
struct Attention {
  AttentionLayout layout;
  bool isHalf;
  size_t batches;
  size_t heads;
  size_t queries;
  size_t keys;
  size_t depth;  ///< elements of a head
  float scale;
  void* query;
  void* key;
  void* value;
  void* out;
  float* softmaxMax;
  float* softmaxSum;
  const uint8_t* mask;  ///< may be null
  size_t maskBatchStep;
  size_t maskHeadStep;
  void* outGrad;  ///< null for the forward call; then the other gradients are too
  void* queryGrad;
  void* keyGrad;
  void* valueGrad;
};

/// Bytes of work memory: all matrices that the arithmetic needs besides its operands.
size_t AttentionWorkBytes(const Attention& attention);

/// The result, or the gradients.
void ComputeAttention(const Attention& attention, float* work);

}  // namespace OrmoHost

#endif  // ORMO_HOST_OPERATORS_ATTENTION_H
