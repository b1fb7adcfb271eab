#include "online/graph_completion.h"

#include <utility>

#include "common/log.h"

namespace Ormo {

void GraphCompletion::Complete(uint32_t status, const std::vector<ox::Tensor>& outputs,
                               bool keepsOutputs, const CallSite& site) noexcept {
  State state = State::COMPLETED;
  std::vector<ox::Tensor> kept;
  try {
    if (keepsOutputs) {
      kept = outputs;
    }
  } catch (...) {  // the waiting side's to know: the engine's thread expects no exception
    state = State::WITHOUT_OUTCOME;
  }
  if (!End(state, status, kept)) {
    ORMO_LOG_WARNING_AT(site, "Graph execution was completed before");
  }
}

void GraphCompletion::Abandon() noexcept {
  std::vector<ox::Tensor> none;
  End(State::WITHOUT_OUTCOME, 0, none);
}

bool GraphCompletion::End(State state, uint32_t status, std::vector<ox::Tensor>& outputs) noexcept {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (state_ != State::RUNNING) {
    return false;
  }
  state_ = state;
  status_ = status;
  outputs_.swap(outputs);
  ended_.notify_all();
  return true;
}

bool GraphCompletion::Wait(uint32_t& status, std::vector<ox::Tensor>& outputs) {
  std::unique_lock<std::mutex> lock(mutex_);
  ended_.wait(lock, [this] { return state_ != State::RUNNING; });
  status = status_;
  outputs = std::move(outputs_);
  return state_ == State::COMPLETED;
}

ox::Session::RunCallback MakeCallback(const std::shared_ptr<GraphCompletion>& completion,
                                      bool keepsOutputs, CallSite site) {
  // The callback's copies share it: with the last of them goes the last one who could call back.
  const std::shared_ptr<GraphCompletion> shared(
      completion.get(), [completion](GraphCompletion* ended) { ended->Abandon(); });
  return [shared, keepsOutputs, site](uint32_t status, std::vector<ox::Tensor>& outputs) noexcept {
    shared->Complete(status, outputs, keepsOutputs, site);
  };
}

}  // namespace Ormo
