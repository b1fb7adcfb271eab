#include "single_op/zelnn_manager.h"

#include <memory>

#include "common/call_context.h"
#include "common/log.h"
#include "common/scope_exit.h"
#include "common/utils.h"
#include "ormo/status.h"
#include "single_op/op_registry.h"
#include "single_op/op_request.h"

namespace Ormo {

int ZelnnManager::Execute(uint64_t& costTime, const ZelnnRunConfig& config) const {
  Timer timer;
  timer.Start();
  const int status = RunZelnn(config);
  timer.Stop();
  costTime = timer.Elapsed();
  return status;
}

int ZelnnManager::RunZelnn(const ZelnnRunConfig& config) const {
  ZelnnParamterInner inner;
  if (ZelnnParamterConstructor(config.opJson, inner) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("ZelnnParamterConstructor failed!");
    return STATUS_FAILED;
  }
  const ScopeExit release("the operator's parameters",
                          [&inner] { ZelnnParamterDestructor(inner); });
  const std::unique_ptr<ReflectBase> launcher(CreateReflectedObjByName(inner.opType));
  if (launcher == nullptr) {
    CallContext::KeepReason("There is no operator \"%s\"", inner.opType.c_str());
    ORMO_LOG_ERROR("Can not create %s zelnn run object!", inner.opType.c_str());
    return STATUS_FAILED;
  }
  if (launcher->Run(inner, config.tilingContext, config.tiling) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("%s zelnn run failed!", inner.opType.c_str());
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

}  // namespace Ormo
