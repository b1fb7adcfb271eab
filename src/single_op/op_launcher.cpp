#include "single_op/op_launcher.h"

#include "common/platform_handles.h"

namespace Ormo {

namespace {

// False, after an error line, when there is no memory.
bool TakeWorkspace(const char* name, size_t size, DeviceMemory& workspace) {
  void* memory = nullptr;
  if (zelrtMalloc(&memory, size, ZEL_MEM_MALLOC_POLICY_2) != 0) {
    ORMO_LOG_ERROR("OrmoZelnn%s run: zelrtMalloc[%zu] for workspace Failed.", name, size);
    return false;
  }
  workspace.Reset(memory);
  ORMO_LOG_DEBUG("OrmoZelnn%s run: zelrtMalloc[%zu] for workspace[%p] success.", name, size,
                 memory);
  return true;
}

}  // namespace

int RunWithWorkspace(const char* name, OpExecution execution, const ZelnnParamterInner& param) {
  const auto size = static_cast<size_t>(param.workspaceSize);
  DeviceMemory workspace;
  if (!TakeWorkspace(name, size, workspace)) {
    return STATUS_FAILED;
  }
  ORMO_LOG_DEBUG("OrmoZelnn%s: zelnn%sRunWithWorkspace with workspace[%p] workspaceLen[%zu]", name,
                 name, workspace.Get(), size);
  const int code = execution(workspace.Get(), param.workspaceSize, param.executor, param.stream);
  if (code != 0) {
    ORMO_LOG_ERROR("OrmoZelnn%s: zelnn%s Failed.", name, name);
    return code;
  }
  zelrtSynchronizeStream(param.stream);
  ORMO_LOG_INFO("OrmoZelnn%s run success.", name);
  return STATUS_SUCCESS;
}

}  // namespace Ormo
