/// \file
/// Attention: O = softmax(scale * Q * Kᵀ) * V for every batch and head.
///
/// Sizes: B batches, N heads, Sq queries, Sk keys (and values), D elements a head. A layout says
/// how query, key, value and attentionOut lie: "BSH" is [B, S, N * D], "BNSD" is [B, N, S, D]. T is
/// float32 or float16, the same for all four; sums are kept in float32.
///
/// | Position | Parameter | Shape | Type | |
/// |---|---|---|---|---|
/// | 0 | query | layout, S = Sq | T | needed |
/// | 1 | key | layout, S = Sk | T | needed |
/// | 2 | value | layout, S = Sk | T | needed |
/// | 3, 4, 5 | reserved | | | null |
/// | 6 | mask | [Sq, Sk], [B, 1, Sq, Sk] or [B, N, Sq, Sk] | bool or uint8 | optional |
/// | 7 | reserved7 | no elements | integer array | null or empty |
/// | 8 | scale | | double | positive, neither too small nor too large for float32 |
/// | 9 | keepProbability | | double | 1: nothing is dropped |
/// | 10 | keysBefore | | integer | at least Sq and Sk: no window |
/// | 11 | keysAfter | | integer | at least Sq and Sk: no window |
/// | 12 | headCount | | integer | N |
/// | 13 | layout | | text | "BSH" or "BNSD" |
/// | 14 | precisionMode | | integer | 0 |
/// | 15 | maskMode | | integer | 0 |
/// | 16 | softmaxMax | [B, N, Sq] | float32 | needed: the largest scaled score of each query |
/// | 17 | softmaxSum | [B, N, Sq] | float32 | needed: the sum of exp(scaled score - softmaxMax) |
/// | 18 | reserved | | | null |
/// | 19 | attentionOut | that of query | T | needed |
/// | 20 | workspaceSize | | pointer to a 64-bit number | needed |
/// | 21 | executor | | pointer to a pointer | needed |
///
/// A key is left out for a query where the mask is not 0; a query that no key is left for gets
/// zeros, the softmaxSum 0 and the softmaxMax 0. Memory of an output must not be that of another
/// operand: what is computed would be undefined.
#ifndef ZELNN_ZELNN_FLASH_ATTENTION_SCORE_H
#define ZELNN_ZELNN_FLASH_ATTENTION_SCORE_H

#include <cstdint>

#include "zel/zel.h"
#include "zel/zel_tensor.h"

extern "C" {

/// Checks a call and prepares it: writes the bytes of device memory that the execution needs
/// besides its tensors, and the executor that starts it. Needs a current context, on whose device
/// the memory behind all tensors lies, at a multiple of an element's size. A call that is refused
/// leaves both untouched; the reason goes to the error manager. An executor that is not executed
/// ends with the calling thread or its next query of whatever operator.
int32_t zelnnFlashAttentionScoreGetWorkspaceSize(
    const zelTensor* query, const zelTensor* key, const zelTensor* value,
    const zelTensor* reserved3, const zelTensor* reserved4, const zelTensor* reserved5,
    const zelTensor* mask, const zelIntArray* reserved7, double scale, double keepProbability,
    int64_t keysBefore, int64_t keysAfter, int64_t headCount, char* layout, int64_t precisionMode,
    int64_t maskMode, const zelTensor* softmaxMax, const zelTensor* softmaxSum,
    const zelTensor* reserved18, const zelTensor* attentionOut, uint64_t* workspaceSize,
    zelOpExecutor** executor);

/// Executes the prepared call and ends its executor, whatever the result. `workspace` is device
/// memory of at least the size that the query asked for. The memory behind the tensors must still
/// be there; the tensors themselves need not.
int32_t zelnnFlashAttentionScore(void* workspace, uint64_t workspaceSize, zelOpExecutor* executor,
                                 zelrtStream stream);

}  // extern "C"

#endif  // ZELNN_ZELNN_FLASH_ATTENTION_SCORE_H
