/// \file
/// Threads that take no part in the program's signals.
#ifndef ORMO_COMMON_BLOCKED_SIGNALS_H
#define ORMO_COMMON_BLOCKED_SIGNALS_H

#include <pthread.h>
#include <signal.h>

namespace Ormo {

/// Blocks all signals on the calling thread as long as the object lives. A thread started then
/// inherits that for good: the program's handlers do not run on it, and a signal that a system call
/// of its own raises, SIGXFSZ for one, leaves it with the call's error.
class BlockedSignals {
 public:
  BlockedSignals() noexcept {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }

  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace Ormo

#endif  // ORMO_COMMON_BLOCKED_SIGNALS_H
