#include "profiling/run_analysis.h"

#include "common/log.h"
#include "common/run_status.h"
#include "ormo/status.h"
#include "ormo/trace.h"
#include "profiling/kept_executions.h"
#include "profiling/profiling_parser.h"

namespace Ormo {
namespace {

int Analyse(int fd, std::future<int>& future, ModelOpInfo& modelOpInfo,
            const std::function<int(const ModelOpInfo&)>& compute, CallSite site) {
  const int readStatus = ProfilingParser().ReadModelOpInfo(fd, future, modelOpInfo);
  if (!EndingOf(readStatus).hasResult || modelOpInfo.opInfos.empty()) {
    return readStatus;
  }
  Trace span("profiling get runner result");
  span.Start();
  const int status = compute(modelOpInfo);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR_AT(site, "Get runner result failed");
    return status;
  }
  return readStatus;
}

}  // namespace

int AnalyseRun(int fd, std::future<int>& future,
               const std::function<int(const ModelOpInfo&)>& compute, CallSite site) {
  if (fd < 0) {
    return STATUS_FAILED;
  }
  ORMO_LOG_INFO_AT(site, "Analysis profiling data for fd : %d", fd);
  ModelOpInfo modelOpInfo;
  const int status = Analyse(fd, future, modelOpInfo, compute, site);
  KeepExecutions(modelOpInfo);
  return status;
}

}  // namespace Ormo
