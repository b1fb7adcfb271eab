/// \file
/// The pattern that every launcher expands.
#ifndef ORMO_SINGLE_OP_OP_LAUNCHER_H
#define ORMO_SINGLE_OP_OP_LAUNCHER_H

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

/// `QUERY` and `EXECUTION` are the operator's two platform functions; the query's signature is the
/// list of the operator's parameters.
template <auto QUERY, OpExecution EXECUTION>
class OpLauncher;

template <typename... Params, int32_t (*QUERY)(Params...), OpExecution EXECUTION>
class OpLauncher<QUERY, EXECUTION> final : public ReflectBase {
 public:
  /// `name` is the operator's type name and outlives the launcher.
  explicit OpLauncher(const char* name) : name_(name) {}

  int Run(ZelnnParamterInner& param, const oxrt::TilingContext* /*tilingContext*/,
          const std::string& tiling) override {
    ORMO_LOG_DEBUG("OrmoZelnn%s run entry. inputs[%zu] attrs[%zu] outputs[%zu] total[%zu]", name_,
                   param.inputs.size(), param.attrs.size(), param.outputs.size(),
                   sizeof...(Params));
    if (!SetParamHelper(param, std::index_sequence_for<Params...>(), arguments_)) {
      ORMO_LOG_ERROR("OrmoZelnn%s run SetParam failed!", name_);
      return STATUS_FAILED;
    }
    if (QueryWorkspace(tiling) != 0) {
      ORMO_LOG_ERROR("OrmoZelnn%sGetWorkspaceSize failed.", name_);
      return STATUS_FAILED;
    }
    return RunWithWorkspace(name_, EXECUTION, param);
  }

 private:
  /// One at a time for each operator: the platform's queries are not made for more.
  int QueryWorkspace(const std::string& tiling) {
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    ORMO_LOG_DEBUG("OrmoZelnn%s: zelnn%sGetWorkspaceSize with tiling[%s]", name_, name_,
                   tiling.c_str());
    return FuncExector(QUERY, arguments_);
  }

  const char* const name_;
  std::tuple<Params...> arguments_{};
};

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_OP_LAUNCHER_H
