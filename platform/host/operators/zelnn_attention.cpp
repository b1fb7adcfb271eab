#include "operators/attention_call.h"
#include "seam/host_call.h"
#include "zelnn/zelnn_flash_attention_score.h"
#include "zelnn/zelnn_flash_attention_score_grad.h"

namespace OrmoHost {
namespace {

void QueryAttention(OperatorKind kind, const AttentionArguments& arguments, uint64_t* workspaceSize,
                    zelOpExecutor** executor) {
  QueryOperator(
      kind, [&] { return PrepareAttention(kind, arguments); }, workspaceSize, executor);
}

}  // namespace
}  // namespace OrmoHost

using namespace OrmoHost;  // NOLINT(google-build-using-namespace): the functions below are its face

int32_t zelnnFlashAttentionScoreGetWorkspaceSize(
    const zelTensor* query, const zelTensor* key, const zelTensor* value,
    const zelTensor* reserved3, const zelTensor* reserved4, const zelTensor* reserved5,
    const zelTensor* mask, const zelIntArray* reserved7, double scale, double keepProbability,
    int64_t keysBefore, int64_t keysAfter, int64_t headCount, char* layout, int64_t precisionMode,
    int64_t maskMode, const zelTensor* softmaxMax, const zelTensor* softmaxSum,
    const zelTensor* reserved18, const zelTensor* attentionOut, uint64_t* workspaceSize,
    zelOpExecutor** executor) {
  return Attempt("zelnnFlashAttentionScoreGetWorkspaceSize", [&] {
    AttentionArguments arguments{{{"query", 0}, query},
                                 {{"key", 1}, key},
                                 {{"value", 2}, value},
                                 {{"mask", 6}, mask},
                                 {{"softmaxMax", 16}, softmaxMax},
                                 {{"softmaxSum", 17}, softmaxSum},
                                 {{"attentionOut", 19}, attentionOut},
                                 {{{"reserved", 3}, reserved3},
                                  {{"reserved", 4}, reserved4},
                                  {{"reserved", 5}, reserved5},
                                  {{"reserved", 18}, reserved18}},
                                 {7, reserved7, scale, keepProbability, keysBefore, keysAfter,
                                  headCount, layout, precisionMode, maskMode}};
    QueryAttention(OperatorKind::ATTENTION, arguments, workspaceSize, executor);
  });
}

int32_t zelnnFlashAttentionScore(void* workspace, uint64_t workspaceSize, zelOpExecutor* executor,
                                 zelrtStream stream) {
  return Attempt("zelnnFlashAttentionScore", [&] {
    Note(workspaceSize);
    ExecuteOperator(OperatorKind::ATTENTION, workspace, workspaceSize, executor, stream);
  });
}

int32_t zelnnFlashAttentionScoreGradGetWorkspaceSize(
    const zelTensor* query, const zelTensor* key, const zelTensor* value,
    const zelTensor* attentionOutGrad, const zelTensor* reserved4, const zelTensor* reserved5,
    const zelTensor* reserved6, const zelTensor* mask, const zelTensor* softmaxMax,
    const zelTensor* softmaxSum, const zelTensor* reserved10, const zelTensor* attentionOut,
    const zelIntArray* reserved12, double scale, double keepProbability, int64_t keysBefore,
    int64_t keysAfter, int64_t headCount, char* layout, int64_t precisionMode, int64_t maskMode,
    const zelTensor* queryGrad, const zelTensor* keyGrad, const zelTensor* valueGrad,
    const zelTensor* reserved24, uint64_t* workspaceSize, zelOpExecutor** executor) {
  return Attempt("zelnnFlashAttentionScoreGradGetWorkspaceSize", [&] {
    AttentionArguments arguments{{{"query", 0}, query},
                                 {{"key", 1}, key},
                                 {{"value", 2}, value},
                                 {{"mask", 7}, mask},
                                 {{"softmaxMax", 8}, softmaxMax},
                                 {{"softmaxSum", 9}, softmaxSum},
                                 {{"attentionOut", 11}, attentionOut},
                                 {{{"reserved", 4}, reserved4},
                                  {{"reserved", 5}, reserved5},
                                  {{"reserved", 6}, reserved6},
                                  {{"reserved", 10}, reserved10},
                                  {{"reserved", 24}, reserved24}},
                                 {12, reserved12, scale, keepProbability, keysBefore, keysAfter,
                                  headCount, layout, precisionMode, maskMode},
                                 {{"attentionOutGrad", 3}, attentionOutGrad},
                                 {{"queryGrad", 21}, queryGrad},
                                 {{"keyGrad", 22}, keyGrad},
                                 {{"valueGrad", 23}, valueGrad}};
    QueryAttention(OperatorKind::ATTENTION_GRADIENT, arguments, workspaceSize, executor);
  });
}

int32_t zelnnFlashAttentionScoreGrad(void* workspace, uint64_t workspaceSize,
                                     zelOpExecutor* executor, zelrtStream stream) {
  return Attempt("zelnnFlashAttentionScoreGrad", [&] {
    Note(workspaceSize);
    ExecuteOperator(OperatorKind::ATTENTION_GRADIENT, workspace, workspaceSize, executor, stream);
  });
}
