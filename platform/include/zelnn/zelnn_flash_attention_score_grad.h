/// \file
/// The gradients of attention (zelnn_flash_attention_score.h) with respect to query, key and value.
///
/// Sizes, layouts and types are those of the forward call, whose outputs are inputs here.
///
/// | Position | Parameter | Shape | Type | |
/// |---|---|---|---|---|
/// | 0 | query | layout, S = Sq | T | needed |
/// | 1 | key | layout, S = Sk | T | needed |
/// | 2 | value | layout, S = Sk | T | needed |
/// | 3 | attentionOutGrad | that of query | T | needed |
/// | 4, 5, 6 | reserved | | | null |
/// | 7 | mask | [Sq, Sk], [B, 1, Sq, Sk] or [B, N, Sq, Sk] | bool or uint8 | optional |
/// | 8 | softmaxMax | [B, N, Sq] | float32 | needed |
/// | 9 | softmaxSum | [B, N, Sq] | float32 | needed |
/// | 10 | reserved | | | null |
/// | 11 | attentionOut | that of query | T | needed |
/// | 12 | reserved12 | no elements | integer array | null or empty |
/// | 13 | scale | | double | as in the forward call |
/// | 14 | keepProbability | | double | 1 |
/// | 15 | keysBefore | | integer | at least Sq and Sk |
/// | 16 | keysAfter | | integer | at least Sq and Sk |
/// | 17 | headCount | | integer | N |
/// | 18 | layout | | text | "BSH" or "BNSD" |
/// | 19 | precisionMode | | integer | 0 |
/// | 20 | maskMode | | integer | 0 |
/// | 21 | queryGrad | that of query | T | needed |
/// | 22 | keyGrad | that of key | T | needed |
/// | 23 | valueGrad | that of value | T | needed |
/// | 24 | reserved | | | null |
/// | 25 | workspaceSize | | pointer to a 64-bit number | needed |
/// | 26 | executor | | pointer to a pointer | needed |
///
/// attentionOutGrad is the gradient that comes back to attentionOut. A query whose softmaxSum is
/// not positive counts as one that no key was left for: it adds nothing to any gradient.
#ifndef ZELNN_ZELNN_FLASH_ATTENTION_SCORE_GRAD_H
#define ZELNN_ZELNN_FLASH_ATTENTION_SCORE_GRAD_H

#include <cstdint>

#include "zel/zel.h"
#include "zel/zel_tensor.h"

extern "C" {

/// As zelnnFlashAttentionScoreGetWorkspaceSize.
int32_t zelnnFlashAttentionScoreGradGetWorkspaceSize(
    const zelTensor* query, const zelTensor* key, const zelTensor* value,
    const zelTensor* attentionOutGrad, const zelTensor* reserved4, const zelTensor* reserved5,
    const zelTensor* reserved6, const zelTensor* mask, const zelTensor* softmaxMax,
    const zelTensor* softmaxSum, const zelTensor* reserved10, const zelTensor* attentionOut,
    const zelIntArray* reserved12, double scale, double keepProbability, int64_t keysBefore,
    int64_t keysAfter, int64_t headCount, char* layout, int64_t precisionMode, int64_t maskMode,
    const zelTensor* queryGrad, const zelTensor* keyGrad, const zelTensor* valueGrad,
    const zelTensor* reserved24, uint64_t* workspaceSize, zelOpExecutor** executor);

/// As zelnnFlashAttentionScore.
int32_t zelnnFlashAttentionScoreGrad(void* workspace, uint64_t workspaceSize,
                                     zelOpExecutor* executor, zelrtStream stream);

}  // extern "C"

#endif  // ZELNN_ZELNN_FLASH_ATTENTION_SCORE_GRAD_H
