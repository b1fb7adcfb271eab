/// \file
/// The end of calls by their caller's wish.
#ifndef ORMO_COMMON_CANCEL_STATE_H
#define ORMO_COMMON_CANCEL_STATE_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>

#include "common/file_descriptor.h"

namespace Ormo {

/// What a cancel token and the calls that were given it share. Any thread.
class CancelState {
 public:
  /// Throws std::system_error when there is no descriptor to be had.
  CancelState();
  ~CancelState() = default;
  CancelState(const CancelState&) = delete;
  CancelState& operator=(const CancelState&) = delete;

  /// Wakes whoever waits, for good; allocates nothing. In a forked child it wakes nobody: those who
  /// wait are the parent's.
  void Cancel() noexcept;

  bool IsCancelled() const noexcept { return isCancelled_; }

  /// Can be read once it is cancelled; never read from.
  int Fd() const noexcept { return event_.Get(); }

  /// Has `wake`, which must not throw, called when the state is cancelled, on the thread that does
  /// it, as long as the object lives; the destructor waits for a call under way. Not when it was
  /// cancelled before.
  class Waker {
   public:
    Waker(CancelState& state, std::function<void()> wake);
    ~Waker();
    Waker(const Waker&) = delete;
    Waker& operator=(const Waker&) = delete;

   private:
    CancelState& state_;
    std::list<std::function<void()>>::iterator place_;
  };

 private:
  const uint32_t forkCount_;
  FileDescriptor event_;
  std::atomic<bool> isCancelled_{false};
  std::mutex mutex_;  ///< guards wakers_, held while they are called
  std::list<std::function<void()>> wakers_;
};

}  // namespace Ormo

#endif  // ORMO_COMMON_CANCEL_STATE_H
