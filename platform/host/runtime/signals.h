/// \file
/// Signals and the host's own threads.
#ifndef ORMO_HOST_RUNTIME_SIGNALS_H
#define ORMO_HOST_RUNTIME_SIGNALS_H

#include <pthread.h>
#include <signal.h>

namespace OrmoHost {

/// Keeps the program's signals away from the calling thread, and a closed pipe from killing the
/// process.
inline void BlockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace OrmoHost

#endif  // ORMO_HOST_RUNTIME_SIGNALS_H
