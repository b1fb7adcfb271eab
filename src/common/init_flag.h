/// \file
/// Whether a runner is initialised, and the calls that are inside it.
#ifndef ORMO_COMMON_INIT_FLAG_H
#define ORMO_COMMON_INIT_FLAG_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "common/never_destroyed.h"

namespace Ormo {

/// Set by an initialisation, cleared by the finalisation, which can then wait for the calls that
/// came in before. A forked child finds the flag of its parent clear: it has none of the threads
/// behind it. Any thread.
class InitFlag {
 public:
  /// A call on the calling thread, from its construction to its destruction; converts to false when
  /// it must not go on, because the flag is clear. Calls within a call are one with it.
  class Call {
   public:
    explicit Call(InitFlag& flag) noexcept;
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    explicit operator bool() const noexcept { return isAdmitted_; }

   private:
    friend class InitFlag;

    InitFlag& flag_;
    const Call* outer_;  ///< of the same thread
    bool isWithin_;      ///< a call of the same flag, and not counted
    bool isAdmitted_;
  };

  void Set() noexcept;

  /// Whether it was set by the process that this one was forked from.
  bool IsInherited() const noexcept;

  /// False when it was clear: of two finalisations at once, one goes on.
  bool Clear() noexcept;

  explicit operator bool() const noexcept;

  /// Waits until no call is inside, but for `excepted` ones and those of the calling thread, which
  /// may be ending the process from a signal handler. The flag is clear. In a forked child there is
  /// nobody to wait for.
  void AwaitCalls(uint32_t excepted = 0);

 private:
  bool IsOwnProcess() const noexcept;
  bool IsInside(const Call* call) const noexcept;
  void Leave() noexcept;

  static thread_local const Call* innermost_;

  std::atomic<bool> isSet_{false};
  std::atomic<uint32_t> forkCount_{0};
  std::atomic<uint32_t> calls_{0};
  std::atomic<uint32_t> waiters_{0};
  std::mutex mutex_;  ///< of the wait alone
  NeverDestroyed<std::condition_variable> left_;
};

}  // namespace Ormo

#endif  // ORMO_COMMON_INIT_FLAG_H
