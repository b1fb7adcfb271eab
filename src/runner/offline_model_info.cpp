#include <utility>

#include "common/call_context.h"
#include "common/log.h"
#include "offline/offline_runner.h"
#include "offline/run_task.h"
#include "ormo/ormo_runner_detail.h"
#include "ormo/status.h"
#include "runner/record_size.h"

using Ormo::CallContext;
using Ormo::OfflineModelInfo;

namespace Ormo {
namespace {

// The last member of the record's first version.
constexpr auto LAST_OF_INFO = &OfflineModelInfo::weightSize;

// Member by member: the record may be larger than the one known here.
void Give(OfflineModelInfo&& found, OfflineModelInfo& info) {
  info.deviceId = found.deviceId;
  info.inputSizes = std::move(found.inputSizes);
  info.outputSizes = std::move(found.outputSizes);
  info.inputNames = std::move(found.inputNames);
  info.outputNames = std::move(found.outputNames);
  info.inputTypes = std::move(found.inputTypes);
  info.outputTypes = std::move(found.outputTypes);
  info.inputShapes = std::move(found.inputShapes);
  info.outputShapes = std::move(found.outputShapes);
  info.isDynamicKnown = found.isDynamicKnown;
  info.dynamicType = std::move(found.dynamicType);
  info.dynamicParams = std::move(found.dynamicParams);
  info.workSize = found.workSize;
  info.weightSize = found.weightSize;
}

// A task of the model's worker like any other, but for the device's lock: nothing is measured.
int DescribeLoadedModel(uint32_t modelId, OfflineModelInfo& info) {
  RunInfo run;
  run.modelId = modelId;
  const int status = OfflineRunner::Instance()->GetDevIdByModelId(modelId, run.deviceId);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  OfflineTask task = [&](const RunnerConfig& /*config*/, const RunInfo& /*info*/,
                         const error_message::Context& context, uint32_t worker) {
    return RunTask::DescribeModel(modelId, info, context, worker);
  };
  RunnerConfig config;
  RunnerResult result;
  return OfflineRunner::Instance()->Process(task, config, run, result);
}

}  // namespace
}  // namespace Ormo

extern "C" {

int OrmoOfflineGetModelInfo(uint32_t modelId, OfflineModelInfo& info) {
  CallContext call;
  if (!Ormo::Has(info, Ormo::LAST_OF_INFO)) {
    ORMO_LOG_ERROR("A record of %u bytes is too small", info.size);
    return call.End(Ormo::STATUS_INVALID_PARAM);
  }
  Ormo::Give({}, info);
  OfflineModelInfo found;
  const int status = Ormo::DescribeLoadedModel(modelId, found);
  if (status == Ormo::STATUS_SUCCESS) {
    Ormo::Give(std::move(found), info);
  }
  return call.End(status);
}

}  // extern "C"
