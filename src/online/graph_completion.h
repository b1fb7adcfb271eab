/// \file
/// The end of one asynchronous execution of a graph.
#ifndef ORMO_ONLINE_GRAPH_COMPLETION_H
#define ORMO_ONLINE_GRAPH_COMPLETION_H

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "common/call_site.h"
#include "ox/session.h"
#include "ox/tensor.h"

namespace Ormo {

/// What the thread that waits and the engine's thread share. Ending the wait takes no memory: an
/// execution whose memory ran out ends too.
class GraphCompletion {
 public:
  /// The engine called back. Only the first end of an execution counts. Outputs are copied if they
  /// are to be kept; when that fails, the execution ended without an outcome.
  void Complete(uint32_t status, const std::vector<ox::Tensor>& outputs, bool keepsOutputs,
                const CallSite& site) noexcept;

  /// Nobody will call back any more.
  void Abandon() noexcept;

  /// Waits for the end. False when there is no outcome.
  bool Wait(uint32_t& status, std::vector<ox::Tensor>& outputs);

 private:
  enum class State { RUNNING, COMPLETED, WITHOUT_OUTCOME };

  /// False when it had ended before.
  bool End(State state, uint32_t status, std::vector<ox::Tensor>& outputs) noexcept;

  std::mutex mutex_;
  std::condition_variable ended_;
  State state_ = State::RUNNING;
  uint32_t status_ = 0;
  std::vector<ox::Tensor> outputs_;
};

/// The callback that the engine gets. It ends the execution when it is called or, uncalled, when
/// the last of its copies is destroyed. A late or repeated call touches nothing of the waiting
/// frame.
ox::Session::RunCallback MakeCallback(const std::shared_ptr<GraphCompletion>& completion,
                                      bool keepsOutputs, CallSite site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_ONLINE_GRAPH_COMPLETION_H
