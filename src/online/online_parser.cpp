#include "online/online_parser.h"

#include <cstdint>
#include <map>
#include <string>

#include "common/call_context.h"
#include "common/log.h"
#include "common/run_watch.h"
#include "ormo/status.h"
#include "profiling/kept_executions.h"
#include "profiling/profiling_parser.h"
#include "profiling/step_grouping.h"

namespace Ormo {
namespace {

int Analyse(int fd, std::future<int>& future, ModelOpInfo& info,
            std::vector<RunnerRunResult>& results) {
  int status = ProfilingParser().ReadModelOpInfo(fd, future, info);
  if (status != STATUS_SUCCESS || info.opInfos.empty()) {
    ORMO_LOG_INFO("Analysis profiling data exception fd[%d], ret[%d].", fd, status);
    return status;
  }
  status = OnlineParser::GetRunnerRunResult(info, results);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Get runner run result failed, ret[%d]", status);
  } else {
    ORMO_LOG_INFO("Online parser analysis finished");
  }
  return status;
}

// For a call that asks for them, also of an engine that does not mark its executions.
void KeepGraphExecutions(const ModelOpInfo& info) {
  KeepExecutions(info);
  RunWatch* const watch = CallContext::Watch();
  if (watch == nullptr || !info.steps.empty()) {
    return;
  }
  static_cast<void>(OnlineParser::GetRunnerRunResultByOpName(info, watch->executions));
  for (RunnerRunResult& execution : watch->executions) {
    execution.modelInfos.resize(1);  // from one on whose cost cannot be told, there is none
  }
  watch->operatorsOutside = 0;
}

}  // namespace

int OnlineParser::Analysis(int fd, std::future<int>& future,
                           std::vector<RunnerRunResult>& results) {
  if (fd < 0) {
    ORMO_LOG_ERROR("Analysis invalid fd, %d", fd);
    return STATUS_FAILED;
  }
  ModelOpInfo info;
  const int status = Analyse(fd, future, info, results);
  KeepGraphExecutions(info);
  return status;
}

int OnlineParser::GetRunnerRunResult(const ModelOpInfo& info,
                                     std::vector<RunnerRunResult>& results) {
  return info.steps.empty() ? GetRunnerRunResultByOpName(info, results)
                            : GetRunnerRunResultByStep(info, results);
}

int OnlineParser::GetRunnerRunResultByOpName(const ModelOpInfo& info,
                                             std::vector<RunnerRunResult>& results) {
  ORMO_LOG_INFO("Get runner result by op name");
  std::map<std::string, uint64_t> counts;
  for (const RunnerOpInfo& op : info.opInfos) {
    uint64_t& count = counts[op.opName];
    if (count >= results.size()) {
      results.emplace_back();
    }
    results[count].opInfos.push_back(op);
    ++count;
  }
  ORMO_LOG_EVENT("Get runner result size : %zu", results.size());
  const int status = GetModelInfo(results);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Get model Info failed");
  }
  return status;
}

}  // namespace Ormo
