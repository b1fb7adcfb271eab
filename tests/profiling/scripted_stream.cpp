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

// The linker's names for what is called in place of a function, and for the function.
int RealCreate(int flags) asm("__real_epoll_create1");
int RealControl(int epoll, int operation, int fd, epoll_event* event) asm("__real_epoll_ctl");
int RealWait(int epoll, epoll_event* events, int count, int timeout) asm("__real_epoll_wait");
int32_t RealGetSize(size_t* size) asm("__real_zelprofGetOpDescSize");
int32_t RealGetCount(const void*, size_t, uint32_t* count) asm("__real_zelprofGetOpNum");
int32_t RealGetLength(const void*, size_t, uint32_t, size_t*) asm("__real_zelprofGetOpNameLen");

int Create(int flags) asm("__wrap_epoll_create1");
int Control(int epoll, int operation, int fd, epoll_event* event) asm("__wrap_epoll_ctl");
int Wait(int epoll, epoll_event* events, int count, int timeout) asm("__wrap_epoll_wait");
int32_t GetSize(size_t* size) asm("__wrap_zelprofGetOpDescSize");
int32_t GetCount(const void*, size_t, uint32_t* count) asm("__wrap_zelprofGetOpNum");
int32_t GetLength(const void*, size_t, uint32_t, size_t*) asm("__wrap_zelprofGetOpNameLen");

int Create(int flags) {
  return Fails("epoll_create1") ? -1 : RealCreate(flags);
}

int Control(int epoll, int operation, int fd, epoll_event* event) {
  const bool fails = Fails(operation == EPOLL_CTL_DEL ? "epoll_ctl del" : "epoll_ctl add");
  return fails ? -1 : RealControl(epoll, operation, fd, event);
}

int Wait(int epoll, epoll_event* events, int count, int timeout) {
  script.timeouts.push_back(timeout);
  if (script.waits.empty()) {
    return RealWait(epoll, events, count, timeout);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  events[0].data.fd = -1;
  errno = script.waits.front();
  script.waits.pop_front();
  return errno > 0 ? -1 : -errno;
}

int32_t GetSize(size_t* size) {
  const int32_t code = RealGetSize(size);
  *size = script.recordSize.value_or(*size);
  return code;
}

int32_t GetCount(const void* buffer, size_t length, uint32_t* count) {
  const auto* bytes = static_cast<const char*>(buffer);
  const bool isIgnored = script.ignoresParts && length < sizeof(Record) &&
                         std::count(bytes + length, bytes + sizeof(Record), '\0') ==
                             static_cast<std::ptrdiff_t>(sizeof(Record) - length);
  return isIgnored ? 0 : RealGetCount(buffer, length, count);
}

int32_t GetLength(const void* buffer, size_t length, uint32_t index, size_t* size) {
  const int32_t code = RealGetLength(buffer, length, index, size);
  *size = script.nameLength.value_or(*size);
  return code;
}

}  // namespace Ormo::Testing
