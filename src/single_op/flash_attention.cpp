// One block makes an operator known: its name, its two platform functions, and its registration.
// The types of its parameters are those of its workspace query.
#include "single_op/op_launcher.h"
#include "zelnn/zelnn_flash_attention_score.h"
#include "zelnn/zelnn_flash_attention_score_grad.h"

namespace Ormo {

namespace {

constexpr char SCORE_GRAD[] = "FlashAttentionScoreGrad";

class OrmoZelnnFlashAttentionScoreGrad final
    : public OpLauncher<SCORE_GRAD, zelnnFlashAttentionScoreGradGetWorkspaceSize,
                        zelnnFlashAttentionScoreGrad> {};

const bool IS_SCORE_GRAD_REGISTERED =
    RegisterReflectedObj(SCORE_GRAD, CreateLauncher<OrmoZelnnFlashAttentionScoreGrad>);

constexpr char SCORE[] = "FlashAttentionScore";

class OrmoZelnnFlashAttentionScore final
    : public OpLauncher<SCORE, zelnnFlashAttentionScoreGetWorkspaceSize, zelnnFlashAttentionScore> {
};

const bool IS_SCORE_REGISTERED =
    RegisterReflectedObj(SCORE, CreateLauncher<OrmoZelnnFlashAttentionScore>);

}  // namespace

}  // namespace Ormo
