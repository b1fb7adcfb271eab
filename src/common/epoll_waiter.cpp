#include "common/epoll_waiter.h"

#include <sys/epoll.h>

#include <cerrno>

namespace Ormo {

bool EpollWaiter::Create() {
  epoll_ = FileDescriptor(epoll_create1(EPOLL_CLOEXEC));
  return epoll_.Get() >= 0;
}

bool EpollWaiter::Add(int fd) {
  // Level-triggered: a reader that takes one record of several is woken again.
  epoll_event event = {};
  event.events = EPOLLIN;
  event.data.fd = fd;
  return epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, fd, &event) == 0;
}

bool EpollWaiter::Remove(int fd) {
  epoll_event event = {};
  return epoll_ctl(epoll_.Get(), EPOLL_CTL_DEL, fd, &event) == 0;
}

EpollWaiter::Event EpollWaiter::Wait(std::chrono::milliseconds timeout) {
  epoll_event event = {};
  const int count = epoll_wait(epoll_.Get(), &event, 1, static_cast<int>(timeout.count()));
  if (count > 0) {
    return {Outcome::READY, event.data.fd};
  }
  if (count == 0) {
    return {Outcome::TIME_OUT, -1};
  }
  return {errno == EINTR ? Outcome::INTERRUPTED : Outcome::FAILED, -1};
}

}  // namespace Ormo
