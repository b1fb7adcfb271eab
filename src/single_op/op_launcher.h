/// \file
/// The pattern that every launcher expands.
#ifndef ORMO_SINGLE_OP_OP_LAUNCHER_H
#define ORMO_SINGLE_OP_OP_LAUNCHER_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <tuple>

#include "common/log.h"
#include "ormo/status.h"
#include "single_op/op_arguments.h"
#include "single_op/op_registry.h"

namespace Ormo {

using OpExecution = int32_t (*)(void* workspace, uint64_t workspaceSize, zelOpExecutor* executor,
                                zelrtStream stream);

/// The second half of a launch: takes the workspace, executes, waits for the stream. Returns as
/// ReflectBase::Run does.
int RunWithWorkspace(const char* name, OpExecution execution, const ZelnnParamterInner& param);

/// `NAME` is the operator's type name. `QUERY` and `EXECUTION` are its two platform functions; the
/// query's signature is the list of the operator's parameters.
template <const char* NAME, auto QUERY, OpExecution EXECUTION>
class OpLauncher;

template <const char* NAME, typename... Params, int32_t (*QUERY)(Params...), OpExecution EXECUTION>
class OpLauncher<NAME, QUERY, EXECUTION> : public ReflectBase {
 public:
  int Run(ZelnnParamterInner& param, const oxrt::TilingContext* /*tilingContext*/,
          const std::string& tiling) override {
    ORMO_LOG_DEBUG("OrmoZelnn%s run entry. inputs[%zu] attrs[%zu] outputs[%zu] total[%zu]", NAME,
                   param.inputs.size(), param.attrs.size(), param.outputs.size(), PARAM_COUNT);
    if (!SetParamHelper(param, std::index_sequence_for<Params...>(), arguments_)) {
      ORMO_LOG_ERROR("OrmoZelnn%s run SetParam failed!", NAME);
      return STATUS_FAILED;
    }
    if (QueryWorkspace(tiling) != 0) {
      ORMO_LOG_ERROR("OrmoZelnn%sGetWorkspaceSize failed.", NAME);
      return STATUS_FAILED;
    }
    return RunWithWorkspace(NAME, EXECUTION, param);
  }

 private:
  static constexpr size_t PARAM_COUNT = sizeof...(Params);

  /// One at a time for each operator: the platform's queries are not made for more.
  int QueryWorkspace(const std::string& tiling) {
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    ORMO_LOG_DEBUG("OrmoZelnn%s: zelnn%sGetWorkspaceSize with tiling[%s]", NAME, NAME,
                   tiling.c_str());
    return FuncExector(QUERY, arguments_);
  }

  std::tuple<Params...> arguments_{};
};

/// Creates a launcher of that class; what the registry keeps of it.
template <typename Launcher>
ReflectBase* CreateLauncher() {
  return new Launcher();
}

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_OP_LAUNCHER_H
