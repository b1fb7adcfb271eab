/// \file
/// Waiting until a descriptor can be read.
#ifndef ORMO_COMMON_EPOLL_WAITER_H
#define ORMO_COMMON_EPOLL_WAITER_H

#include <chrono>

#include "common/file_descriptor.h"

namespace Ormo {

/// An epoll instance of its own, closed with the object. Functions that return bool leave the
/// reason of a failure in errno.
class EpollWaiter {
 public:
  enum class Outcome { READY, TIME_OUT, INTERRUPTED, FAILED };

  struct Event {
    Outcome outcome;
    int fd;  ///< of READY: the descriptor that can be read or whose writers are gone
  };

  bool Create();
  bool Add(int fd);
  bool Remove(int fd);

  /// Waits for one event, at most `timeout`; blocks the calling thread.
  Event Wait(std::chrono::milliseconds timeout);

 private:
  FileDescriptor epoll_;
};

}  // namespace Ormo

#endif  // ORMO_COMMON_EPOLL_WAITER_H
