/// \file
/// What runs a session's graphs.
#ifndef ORMO_HOST_ENGINE_ENGINE_H
#define ORMO_HOST_ENGINE_ENGINE_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "engine/session_graph.h"
#include "error_manager/error_manager.h"
#include "ormo_host/control.h"
#include "ox/graph.h"
#include "ox/session.h"

namespace OrmoHost {

/// A session's place on a device: the one that the fewest sessions use.
class DeviceSeat {
 public:
  DeviceSeat();
  ~DeviceSeat();
  DeviceSeat(const DeviceSeat&) = delete;
  DeviceSeat& operator=(const DeviceSeat&) = delete;

  uint32_t Device() const { return device_; }

  /// How many there are.
  static size_t Count();

 private:
  uint32_t device_;
};

/// A thread that executes graphs, one execution at a time, in the order in which they were started.
/// Operations refuse what does not fit.
class Engine {
 public:
  Engine();
  /// Waits until all executions have ended; releases the graphs.
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  void AddGraph(uint32_t id, const ox::Graph& graph,
                const std::map<ox::TarnString, ox::TarnString>& options);
  void RemoveGraph(uint32_t id);
  void Start(uint32_t id, const std::vector<ox::Tensor>& inputs, ox::Session::RunCallback callback);
  void SetSaveCallback(ox::Session::SaveCallback callback);

 private:
  /// An execution that was started, with the error context of the thread that did it.
  struct Execution {
    std::shared_ptr<SessionGraph> graph;
    std::vector<ox::Tensor> inputs;
    ox::Session::RunCallback callback;
    error_message::Context errors;
    CompletionFault fault = CompletionFault::NONE;
  };

  std::shared_ptr<SessionGraph> GetGraph(uint32_t id) const;
  void Work();
  bool Take(Execution& execution);
  void Run(Execution execution);
  int32_t Compute(Execution& execution, std::vector<ox::Tensor>& outputs);
  int32_t Save(const SessionGraph& graph, const std::vector<ox::Tensor>& outputs);
  void CallLate();

  const DeviceSeat seat_;

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Execution> queue_;
  bool isEnding_ = false;
  ox::Session::SaveCallback save_;
  std::vector<ox::Session::RunCallback> lateCallbacks_;  ///< of scripted faults

  std::thread thread_;
};

void ClearCompletionScript();

}  // namespace OrmoHost

#endif  // ORMO_HOST_ENGINE_ENGINE_H
