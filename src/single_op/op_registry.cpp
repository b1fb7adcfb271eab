#include "single_op/op_registry.h"

#include "single_op/op_launcher.h"
#include "zelnn/zelnn_flash_attention_score.h"
#include "zelnn/zelnn_flash_attention_score_grad.h"

namespace Ormo {

namespace {

using OrmoZelnnFlashAttentionScore =
    OpLauncher<zelnnFlashAttentionScoreGetWorkspaceSize, zelnnFlashAttentionScore>;
using OrmoZelnnFlashAttentionScoreGrad =
    OpLauncher<zelnnFlashAttentionScoreGradGetWorkspaceSize, zelnnFlashAttentionScoreGrad>;

// An operator that can be called.
struct Operator {
  const char* name;                          // as requests give it and log lines have it
  ReflectBase* (*create)(const char* name);  // makes the launcher of its two platform functions
};

template <typename Launcher>
ReflectBase* Create(const char* name) {
  return new Launcher(name);
}

// All that makes an operator known.
constexpr Operator OPERATORS[] = {
    {"FlashAttentionScoreGrad", Create<OrmoZelnnFlashAttentionScoreGrad>},
    {"FlashAttentionScore", Create<OrmoZelnnFlashAttentionScore>},
};

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): callers pass it so
ReflectBase* CreateReflectedObjByName(std::string name) {
  for (const Operator& candidate : OPERATORS) {
    if (name == candidate.name) {
      return candidate.create(candidate.name);
    }
  }
  return nullptr;
}

}  // namespace Ormo
