#include "profiling/scripted_stream.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "zel/zel_prof.h"

namespace Ormo::Testing {
namespace {

bool Fails(const char* function) {
  errno = FAILURE;
  return script.failing == function;
}

}  // namespace

Script script;

Record Op(const char* name, uint64_t start, uint64_t end, uint64_t aicore) {
  Record record = {OrmoHost::RECORD_MARK, 0, 7, start, end, aicore, {}, "MatMul"};
  std::strcpy(record.name, name);
  return record;
}

Record Step(uint64_t start, uint64_t end) {
  return {OrmoHost::RECORD_MARK, 0, 7, start, end, 0, "model", "na"};
}

void WriteRecord(int fd, const Record& record) {
  if (write(fd, &record, sizeof(record)) != sizeof(record)) {
    abort();
  }
}

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the linker's
extern "C" {

int __real_epoll_create1(int flags);
int __real_epoll_ctl(int epoll, int operation, int fd, epoll_event* event);
int __real_epoll_wait(int epoll, epoll_event* events, int count, int timeout);
int32_t __real_zelprofGetOpDescSize(size_t* size);
int32_t __real_zelprofGetOpNum(const void* buffer, size_t length, uint32_t* count);
int32_t __real_zelprofGetOpNameLen(const void* buffer, size_t length, uint32_t index, size_t* size);

int __wrap_epoll_create1(int flags) {
  return Fails("epoll_create1") ? -1 : __real_epoll_create1(flags);
}

int __wrap_epoll_ctl(int epoll, int operation, int fd, epoll_event* event) {
  const bool fails = Fails(operation == EPOLL_CTL_DEL ? "epoll_ctl del" : "epoll_ctl add");
  return fails ? -1 : __real_epoll_ctl(epoll, operation, fd, event);
}

int __wrap_epoll_wait(int epoll, epoll_event* events, int count, int timeout) {
  script.timeouts.push_back(timeout);
  if (script.waits.empty()) {
    return __real_epoll_wait(epoll, events, count, timeout);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  events[0].data.fd = -1;
  errno = script.waits.front();
  script.waits.pop_front();
  return errno > 0 ? -1 : -errno;
}

int32_t __wrap_zelprofGetOpDescSize(size_t* size) {
  const int32_t code = __real_zelprofGetOpDescSize(size);
  *size = script.recordSize.value_or(*size);
  return code;
}

int32_t __wrap_zelprofGetOpNum(const void* buffer, size_t length, uint32_t* count) {
  const auto* bytes = static_cast<const char*>(buffer);
  const bool isIgnored = script.ignoresParts && length < sizeof(Record) &&
                         std::count(bytes + length, bytes + sizeof(Record), '\0') ==
                             static_cast<std::ptrdiff_t>(sizeof(Record) - length);
  return isIgnored ? 0 : __real_zelprofGetOpNum(buffer, length, count);
}

int32_t __wrap_zelprofGetOpNameLen(const void* buffer, size_t length, uint32_t index,
                                   size_t* size) {
  const int32_t code = __real_zelprofGetOpNameLen(buffer, length, index, size);
  *size = script.nameLength.value_or(*size);
  return code;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

}  // namespace Ormo::Testing
