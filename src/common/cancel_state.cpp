#include "common/cancel_state.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "common/fork_count.h"

namespace Ormo {

CancelState::CancelState()
    : forkCount_(ForkCount()), event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!event_) {
    throw std::system_error(errno, std::generic_category(), "a cancel token has no descriptor");
  }
}

void CancelState::Cancel() noexcept {
  if (isCancelled_.exchange(true) || ForkCount() != forkCount_) {
    return;
  }
  eventfd_write(event_.Get(), 1);
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const std::function<void()>& wake : wakers_) {
    wake();
  }
}

CancelState::Waker::Waker(CancelState& state, std::function<void()> wake) : state_(state) {
  const std::lock_guard<std::mutex> lock(state_.mutex_);
  place_ = state_.wakers_.insert(state_.wakers_.end(), std::move(wake));
}

CancelState::Waker::~Waker() {
  const std::lock_guard<std::mutex> lock(state_.mutex_);
  state_.wakers_.erase(place_);
}

}  // namespace Ormo
