#include "online/online_runner.h"

#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "common/call_context.h"
#include "common/log.h"
#include "common/run_watch.h"
#include "common/scope_exit.h"
#include "common/utils.h"
#include "device/device_manager.h"
#include "device/profiled_run.h"
#include "model/measuring_loop.h"
#include "online/graph_completion.h"
#include "online/input_generator.h"
#include "online/online_manager.h"
#include "online/online_parser.h"
#include "ormo/options.h"
#include "ormo/ormo_error_manager.h"
#include "ormo/status.h"
#include "ormo/trace.h"
#include "ox/session.h"

namespace Ormo {
namespace {

constexpr char SAVE_CALLBACK_KEY[] = "Save";
constexpr uint32_t FIRST_GRAPH_ID_LESS_ONE = 2200000000;

uint32_t LogSavedTensors(uint32_t graphId,
                         const std::map<ox::TarnString, ox::Tensor>& /*tensors*/) {
  ORMO_LOG_DEBUG("Receive callback of graph id %u", graphId);
  return 0;
}

// To compile a graph takes as long as to execute it.
bool MayGoOn() {
  if (CallContext::IsCancelled()) {
    ORMO_LOG_ERROR("The call has been cancelled, no more graphs are run");
    return false;
  }
  return true;
}

}  // namespace

InitFlag OnlineRunner::initFlag_;
std::atomic<uint32_t> OnlineRunner::id_{FIRST_GRAPH_ID_LESS_ONE};

int OnlineRunner::Init(const RunnerInitConfig& config) const {
  if (RefusesInit()) {
    return STATUS_FAILED;
  }
  if (initFlag_) {
    ORMO_LOG_INFO("Online runner already initailzed");
    return STATUS_SUCCESS;
  }
  if (DeviceManager::Init(config.deviceIds) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Init device manager failed");
    return STATUS_FAILED;
  }
  initFlag_.Set();
  return STATUS_SUCCESS;
}

void OnlineRunner::Finalize() const {
  if (RefusesCall()) {
    return;
  }
  const InitFlag::Call call(initFlag_);  // whoever ends the process waits for it
  if (!initFlag_.Clear()) {
    ORMO_LOG_WARNING("Online runner has not been initailzed, no need to finalize");
    return;
  }
  ScopeExit undo("the finalisation", [] { initFlag_.Set(); });
  EndCalls(initFlag_);
  DeviceManager::Finalize();
  undo.Dismiss();
}

int OnlineRunner::Process(const ox::Graph& graph, RunnerConfig& config,
                          std::vector<RunnerRunResult>& results) const {
  results.clear();
  if (RefusesCall()) {
    return STATUS_FAILED;
  }
  const InitFlag::Call call(initFlag_);
  if (!call) {
    ORMO_LOG_ERROR("Online runner has not been initialized");
    return STATUS_FAILED;
  }
  if (config.session == nullptr) {
    CallContext::KeepReason("There is no session");
    ORMO_LOG_ERROR("Invalid param ox session");
    return STATUS_FAILED;
  }
  std::vector<RunnerRunResult> measured;
  RunInfo runInfo;
  ProfiledRun run;
  if (run.Open() != STATUS_SUCCESS) {
    return STATUS_FAILED;
  }
  runInfo.profFd = run.WriteEnd();
  const error_message::Context context = OrmoErrorManager::GetInstance().OrmoGetErrorContext();
  if (!run.Commit(Run, RunWatch::RequestedDevice(), std::cref(graph), std::ref(config),
                  std::ref(runInfo), context)) {
    return STATUS_FAILED;
  }
  const int analysis = run.Read([&measured](int fd, std::future<int>& future) {
    return OnlineParser::Analysis(fd, future, measured);
  });
  const int status = run.TakeStatus(analysis);
  if (status == STATUS_SUCCESS) {
    results = std::move(measured);
  }
  return status;
}

int OnlineRunner::Run(const ox::Graph& graph, RunnerConfig& config, RunInfo& runInfo,
                      const error_message::Context& context, uint32_t deviceId) {
  if (!initFlag_) {
    ORMO_LOG_WARNING("Online runner has not been initailzed");
    return STATUS_FAILED;
  }
  OrmoErrorManager::GetInstance().OrmoSetErrorContext(context);
  runInfo.deviceId = deviceId;
  if (config.session->RegisterCallBackFunc(SAVE_CALLBACK_KEY, LogSavedTensors) != 0) {
    ORMO_LOG_ERROR("register ox callback failed");
    return STATUS_FAILED;
  }
  const auto executeLocked = [&] {
    const DeviceLock lock = DeviceManager::Acquire(deviceId);
    return lock.MayRun() ? Execute(graph, config, runInfo) : STATUS_FAILED;
  };
  const int status = executeLocked();
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_INFO("Run task deviceId[%d], Run config prof[%d], loop[%u], ret[%d].",
                  static_cast<int>(deviceId), static_cast<int>(config.prof), config.loop, status);
  }
  return status;
}

int OnlineRunner::Execute(const ox::Graph& graph, RunnerConfig& config, const RunInfo& runInfo) {
  if (GenerateRunInputs(graph, config) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Generate inputs for all run graphs failed");
    return STATUS_FAILED;
  }
  uint32_t inputIndex = 0;
  Trace span("Run graph");
  span.Start();
  for (const ox::Graph& dependGraph : config.dependGraphs) {
    if (ExecuteDependGraph(dependGraph, inputIndex, config) != STATUS_SUCCESS) {
      span.Stop();
      ORMO_LOG_ERROR("Run depend graph failed");
      return STATUS_FAILED;
    }
  }
  const int status = ExecuteTuningGraph(graph, inputIndex, config, runInfo);
  span.Stop();
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Run tuning graph failed");
    return STATUS_FAILED;
  }
  ORMO_LOG_INFO("Run all graphs end");
  return STATUS_SUCCESS;
}

template <typename Work>
int OnlineRunner::WithGraph(const ox::Graph& graph,
                            const std::map<std::string, std::string>& options, uint32_t& inputIndex,
                            ox::Session& session, Work work) {
  if (!MayGoOn()) {
    return STATUS_FAILED;
  }
  const uint32_t graphId = ++id_;
  if (session.AddGraph(graphId, graph, Options::Convert(options)) != 0) {
    ORMO_LOG_ERROR("Add graph=%u failed", graphId);
    return STATUS_FAILED;
  }
  const ScopeExit remove("a graph", [&] { session.RemoveGraph(graphId); });
  return MayGoOn() ? work(graphId, inputIndex++) : STATUS_FAILED;
}

int OnlineRunner::ExecuteDependGraph(const ox::Graph& graph, uint32_t& inputIndex,
                                     RunnerConfig& config) {
  std::map<std::string, std::string> options = config.options;
  for (auto& [key, value] : options) {
    value.clear();
  }
  return WithGraph(graph, options, inputIndex, *config.session, [&](uint32_t id, uint32_t index) {
    Trace span("Run depend graph, graphId: " + std::to_string(id));
    span.Start();
    const int status = ExecuteGraph(id, index, config, false);
    span.Stop();
    if (status != STATUS_SUCCESS) {
      ORMO_LOG_ERROR("Run graph: %u failed", id);
    }
    return status;
  });
}

int OnlineRunner::ExecuteTuningGraph(const ox::Graph& graph, uint32_t& inputIndex,
                                     RunnerConfig& config, const RunInfo& runInfo) {
  const auto& options = config.options;
  return WithGraph(graph, options, inputIndex, *config.session, [&](uint32_t id, uint32_t index) {
    const int status = config.prof ? ExecuteGraphWithProf(id, index, config, runInfo)
                                   : ExecuteGraphOnce(id, index, config);
    if (status != STATUS_SUCCESS) {
      ORMO_LOG_ERROR("Execute graph failed, id: %u", id);
      for (const auto& [key, value] : options) {
        ORMO_LOG_INFO("Compile graph option %s: %s", key.c_str(), value.c_str());
      }
    }
    return status;
  });
}

int OnlineRunner::ExecuteGraphOnce(uint32_t graphId, uint32_t inputIndex, RunnerConfig& config) {
  if (CallContext::Watch() == nullptr) {  // nobody asks for its time
    return ExecuteGraph(graphId, inputIndex, config, true);
  }
  uint64_t costTime = 0;
  return MeasureLoop(1, std::nullopt, costTime, [&](size_t /*index*/) {
    return TimeGraph(graphId, inputIndex, config, true, costTime);
  });
}

int OnlineRunner::ExecuteGraphWithProf(uint32_t graphId, uint32_t inputIndex, RunnerConfig& config,
                                       const RunInfo& runInfo) {
  uint64_t costTime = 0;
  const auto execute = [&](size_t index) {
    const bool isLast = index + 1 == config.loop;
    const int status = TimeGraph(graphId, inputIndex, config, isLast, costTime);
    if (status != STATUS_SUCCESS) {
      ORMO_LOG_ERROR("Execute graph[%u] with loop[%zu] failed.", graphId, index);
    }
    return status;
  };
  OnlineManager profiling(runInfo.profFd, graphId);
  return RunSubscribed(profiling, [&] {
    Trace span("Run tuning graph, graphId : " + std::to_string(graphId));
    span.Start();
    return MeasureLoop(config.loop, config.runTimeBound, costTime, execute);
  });
}

int OnlineRunner::TimeGraph(uint32_t graphId, uint32_t inputIndex, RunnerConfig& config,
                            bool saveOutputs, uint64_t& costTime) {
  Timer timer;
  timer.Start();
  const int status = ExecuteGraph(graphId, inputIndex, config, saveOutputs);
  if (status == STATUS_SUCCESS) {
    timer.Stop();
    costTime = timer.Elapsed();
  }
  return status;
}

int OnlineRunner::ExecuteGraph(uint32_t graphId, uint32_t inputIndex, RunnerConfig& config,
                               bool saveOutputs) {
  const std::vector<ox::Tensor>& inputs = config.graphInputs.at(inputIndex);
  const auto completion = std::make_shared<GraphCompletion>();
  const uint32_t code =
      config.session->RunGraphAsync(graphId, inputs, MakeCallback(completion, saveOutputs));
  if (code != 0) {
    ORMO_LOG_ERROR("Run async graph[%u] failed with ret = %d.", graphId, static_cast<int>(code));
    return STATUS_FAILED;
  }
  uint32_t status = 0;
  std::vector<ox::Tensor> outputs;
  if (!completion->Wait(status, outputs)) {
    ORMO_LOG_ERROR("Run tuning graph[%u] get result exception.", graphId);
    return STATUS_FAILED;
  }
  if (status != 0) {
    ORMO_LOG_ERROR("Run graph[%u] get result failed with ret=%d.", graphId,
                   static_cast<int>(status));
    return STATUS_FAILED;
  }
  if (saveOutputs) {
    const size_t count = outputs.size();
    config.graphOutputs.push_back(std::move(outputs));
    ORMO_LOG_INFO("Save graph[%u] %zu output, now has %zu outputs", graphId, count,
                  config.graphOutputs.size());
  }
  return STATUS_SUCCESS;
}

}  // namespace Ormo
