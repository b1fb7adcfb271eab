/// \file
/// Launchers by the name of their operator.
#ifndef ORMO_SINGLE_OP_OP_REGISTRY_H
#define ORMO_SINGLE_OP_OP_REGISTRY_H

#include <string>

#include "oxrt/tiling_context.h"
#include "single_op/op_request.h"

namespace Ormo {

/// A launcher: knows how one operator is called.
class ReflectBase {
 public:
  ReflectBase() = default;
  virtual ~ReflectBase() = default;
  ReflectBase(const ReflectBase&) = delete;
  ReflectBase& operator=(const ReflectBase&) = delete;

  /// Calls the operator once with `param` and waits for it. The calling thread's context must be
  /// current. 0; STATUS_FAILED when the parameters do not fit the operator, its workspace query
  /// refuses them, or there is no memory for the workspace; or the platform's code of the execution
  /// as it is. All but 0 come after an error line.
  virtual int Run(ZelnnParamterInner& param, const oxrt::TilingContext* tilingContext,
                  const std::string& tiling) = 0;
};

/// A new launcher for operators of exactly that type name, owned by the caller; null when there is
/// none. Any thread.
ReflectBase* CreateReflectedObjByName(std::string name);

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_OP_REGISTRY_H
