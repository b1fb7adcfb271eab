#include "engine/engine.h"

#include <algorithm>
#include <exception>
#include <new>
#include <set>
#include <utility>

#include "runtime/machine.h"
#include "runtime/signals.h"
#include "seam/fault_list.h"
#include "seam/single.h"
#include "services/error_store.h"

namespace OrmoHost {
namespace {

using CompletionScript = FaultList<CompletionFault>;

// The device of every session.
struct DeviceUse {
  std::mutex mutex;
  std::multiset<uint32_t> devices;
};

// Leaves the host for a call of the user's.
class OutsideMark {
 public:
  OutsideMark() { --insideDepth; }

  ~OutsideMark() { ++insideDepth; }

  OutsideMark(const OutsideMark&) = delete;
  OutsideMark& operator=(const OutsideMark&) = delete;
};

}  // namespace

DeviceSeat::DeviceSeat() {
  auto& use = Single<DeviceUse>();
  uint32_t count = std::max(1U, CurrentMachine().deviceCount);
  const std::lock_guard<std::mutex> lock(use.mutex);
  device_ = 0;
  for (uint32_t device = 1; device < count && use.devices.count(device_) > 0; ++device) {
    device_ = use.devices.count(device) < use.devices.count(device_) ? device : device_;
  }
  use.devices.insert(device_);
}

DeviceSeat::~DeviceSeat() {
  auto& use = Single<DeviceUse>();
  const std::lock_guard<std::mutex> lock(use.mutex);
  use.devices.erase(use.devices.find(device_));
}

size_t DeviceSeat::Count() {
  auto& use = Single<DeviceUse>();
  const std::lock_guard<std::mutex> lock(use.mutex);
  return use.devices.size();
}

void ClearCompletionScript() {
  Single<CompletionScript>().Clear();
}

void FaultCompletion(uint64_t nth, CompletionFault fault) {
  Single<CompletionScript>().Add(nth, fault);
}

Engine::Engine() {
  thread_ = std::thread([this] { Work(); });
}

Engine::~Engine() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isEnding_ = true;
  }
  wake_.notify_one();
  thread_.join();
  Single<SessionGraphs>().TakeIf(
      [this](const SessionGraph& graph) { return graph.Owner() == this; });
}

void Engine::AddGraph(uint32_t id, const ox::Graph& graph,
                      const std::map<ox::TarnString, ox::TarnString>& options) {
  Require(Single<SessionGraphs>().Find(id) == nullptr, GRAPH_ID_IN_USE);
  Require(graph.IsValid(), INVALID_ARGUMENT);
  bool isAdded = Single<SessionGraphs>().Add(
      id, CompileGraph(this, id, seat_.Device(), *graph.GetContent(), options));
  Require(isAdded, GRAPH_ID_IN_USE);
}

void Engine::RemoveGraph(uint32_t id) {
  GetGraph(id);
  Single<SessionGraphs>().Take(id);
}

void Engine::Start(uint32_t id, const std::vector<ox::Tensor>& inputs,
                   ox::Session::RunCallback callback) {
  std::shared_ptr<SessionGraph> graph = GetGraph(id);
  CompletionFault fault = Single<CompletionScript>().Meet();
  error_message::Context errors = Single<ErrorStore>().ThreadContext();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (fault == CompletionFault::AFTER_FAILURE || fault == CompletionFault::TWICE) {
      lateCallbacks_.push_back(callback);
    }
    Require(fault != CompletionFault::AFTER_FAILURE, EXECUTION_FAILED);
    queue_.push_back({std::move(graph), inputs, std::move(callback), std::move(errors), fault});
  }
  wake_.notify_one();
}

void Engine::SetSaveCallback(ox::Session::SaveCallback callback) {
  const std::lock_guard<std::mutex> lock(mutex_);
  save_ = std::move(callback);
}

std::shared_ptr<SessionGraph> Engine::GetGraph(uint32_t id) const {
  std::shared_ptr<SessionGraph> graph = GetSessionGraph(id);
  Require(graph->Owner() == this, UNKNOWN_GRAPH);
  return graph;
}

void Engine::Work() {
  BlockSignals();
  ++insideDepth;
  Execution execution;
  while (Take(execution)) {
    Run(std::move(execution));
  }
  CallLate();
}

bool Engine::Take(Execution& execution) {
  std::unique_lock<std::mutex> lock(mutex_);
  wake_.wait(lock, [this] { return isEnding_ || !queue_.empty(); });
  if (queue_.empty()) {
    return false;
  }
  execution = std::move(queue_.front());
  queue_.pop_front();
  return true;
}

void Engine::Run(Execution execution) {
  std::vector<ox::Tensor> outputs;
  int32_t code = Compute(execution, outputs);
  code = execution.fault == CompletionFault::FAILED_STATUS ? EXECUTION_FAILED : code;
  execution.inputs.clear();
  execution.graph.reset();
  OutsideMark outside;
  if (execution.fault != CompletionFault::DESTROYED) {
    execution.callback(static_cast<uint32_t>(code), outputs);
  }
  execution.callback = nullptr;
}

// All that can fail on the engine's thread: nobody there could be told of an exception.
int32_t Engine::Compute(Execution& execution, std::vector<ox::Tensor>& outputs) {
  try {
    Single<ErrorStore>().ThreadContext() = std::move(execution.errors);
    outputs = execution.graph->Run(execution.inputs);
    return execution.graph->Options().savesOutputs ? Save(*execution.graph, outputs) : SUCCESS;
  } catch (const Refusal& refusal) {
    return refusal.Code();
  } catch (const std::bad_alloc&) {
    return ZEL_ERROR_RUNTIME_MEMORY_ALLOCATION;
  } catch (const std::exception&) {
    return EXECUTION_FAILED;
  }
}

int32_t Engine::Save(const SessionGraph& graph, const std::vector<ox::Tensor>& outputs) {
  ox::Session::SaveCallback save;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    save = save_;
  }
  if (!save) {
    return SUCCESS;
  }
  std::map<ox::TarnString, ox::Tensor> tensors = graph.NameOutputs(outputs);
  OutsideMark outside;
  return static_cast<int32_t>(save(graph.Id(), tensors));
}

void Engine::CallLate() {
  OutsideMark outside;
  std::vector<ox::Tensor> none;
  for (const ox::Session::RunCallback& callback : lateCallbacks_) {
    callback(SUCCESS, none);
  }
}

}  // namespace OrmoHost
