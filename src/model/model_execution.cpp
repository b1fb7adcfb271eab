#include "common/log.h"
#include "common/scope_exit.h"
#include "common/status_translation.h"
#include "common/utils.h"
#include "model/model_manager.h"
#include "ormo/status.h"
#include "zel/zel.h"

namespace Ormo {

int ModelManager::Execute(uint64_t& costTime, const RunnerConfig& config) const {
  if (SetDynamicParam(config.dynamicType, config.dynamicParam) != STATUS_SUCCESS) {
    return STATUS_DYNAMIC_PARAM_FAILED;
  }
  Timer timer;
  int32_t code = 0;
  {
    const ScopeExit closeSpan("the execution's span", [this] { executionSpan_.Stop(); });
    executionSpan_.Start();
    timer.Start();
    code = zelmdlExecute(modelId_, inputDataset_, outputDataset_);
    timer.Stop();
  }
  costTime = timer.Elapsed();
  if (code != 0) {
    ORMO_LOG_ERROR("Execute model failed, ret : %d", code);
    return TranslateStatus(code, STATUS_EXECUTE_FAILED);
  }
  return STATUS_SUCCESS;
}

int ModelManager::ProcessResult(const std::vector<OrmoDataInfo>& outputs) const {
  return ProcessOutput(outputs);
}

int ModelManager::ProcessOutput(const std::vector<OrmoDataInfo>& outputs) const {
  const size_t count = zelmdlGetDatasetNumBuffers(outputDataset_);
  for (size_t index = 0; index < count; ++index) {
    zelDataBuffer* buffer = zelmdlGetDatasetBuffer(outputDataset_, index);
    if (buffer == nullptr) {
      ORMO_LOG_ERROR("Get dataset buffer failed");
      return STATUS_FAILED;
    }
    const void* address = zelGetDataBufferAddr(buffer);
    if (address == nullptr) {
      ORMO_LOG_ERROR("Get data buffer addr failed");
      return STATUS_FAILED;
    }
    const size_t size = zelGetDataBufferSizeV2(buffer);
    const int32_t code =
        zelrtMemcpy(outputs.at(index).data, size, address, size, ZEL_MEMCPY_DEVICE_TO_HOST);
    if (code != 0) {
      ORMO_LOG_ERROR("Memcpy device data buffer to host data buffer failed, ret : %d", code);
      return TranslateStatus(code, STATUS_DEVICE_MEMORY_FAILED);
    }
  }
  return STATUS_SUCCESS;
}

}  // namespace Ormo
