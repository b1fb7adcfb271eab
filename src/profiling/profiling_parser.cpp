#include "profiling/profiling_parser.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "annex_k/annex_k.h"
#include "common/log.h"
#include "ormo/file_utils.h"
#include "ormo/status.h"
#include "profiling/record_decoder.h"
#include "profiling/step_grouping.h"
#include "zel/zel_prof.h"

namespace Ormo {
namespace {

using Clock = std::chrono::steady_clock;

// As much as a pipe holds at first.
constexpr size_t READ_SIZE = 65536;

size_t BufferSize(size_t recordSize) {
  return recordSize <= READ_SIZE ? READ_SIZE - READ_SIZE % recordSize : recordSize;
}

int Decode(const char* record, size_t length, ModelOpInfo& modelOpInfo) {
  if (GetModelOpInfo(record, length, modelOpInfo) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Get op info of model error.");
    return STATUS_PROFILING_FAILED;
  }
  return STATUS_SUCCESS;
}

// A platform may take the part of a record for no record rather than for an error.
int DecodeTail(const char* part, size_t length, ModelOpInfo& modelOpInfo) {
  const size_t before = modelOpInfo.opInfos.size() + modelOpInfo.steps.size();
  const int status = Decode(part, length, modelOpInfo);
  if (status == STATUS_SUCCESS && modelOpInfo.opInfos.size() + modelOpInfo.steps.size() == before) {
    ORMO_LOG_WARNING("The profiling data ends within a record, whose %zu bytes are lost", length);
  }
  return status;
}

// Waits for an event. Signals that interrupt the wait do not make it any longer.
EpollWaiter::Event WaitThroughSignals(EpollWaiter& epoll, std::chrono::milliseconds timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  EpollWaiter::Event event = epoll.Wait(timeout);
  while (event.outcome == EpollWaiter::Outcome::INTERRUPTED) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    event = epoll.Wait(std::max(left, std::chrono::milliseconds(0)));
  }
  return event;
}

}  // namespace

int ProfilingParser::GetOpDescSize(size_t& size) {
  const int32_t code = zelprofGetOpDescSize(&size);
  if (code != 0 || size < 1 || size > std::numeric_limits<uint32_t>::max()) {
    ORMO_LOG_ERROR("Get op desc size failed, ret %d", code);
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int ProfilingParser::ReadModelOpInfo(int fd, std::future<int>& future,
                                     ModelOpInfo& modelOpInfo) const {
  const int status = ProfDataRead(fd, future, modelOpInfo);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_WARNING("Read prof data execption, fd : %d", fd);
  } else if (modelOpInfo.opInfos.empty()) {
    ORMO_LOG_WARNING("Read prof data empty, maybe no aicore operator");
  }
  ORMO_LOG_INFO("Read profiling data for fd %d finished", fd);
  return status;
}

int ProfilingParser::ProfDataRead(int fd, std::future<int>& future,
                                  ModelOpInfo& modelOpInfo) const {
  EpollWaiter epoll;
  if (!epoll.Create()) {
    const int error = errno;
    ORMO_LOG_ERROR("Create epoll failed, errno : %d.", error);
    return STATUS_PROFILING_FAILED;
  }
  if (!epoll.Add(fd)) {
    const int error = errno;
    ORMO_LOG_ERROR("Epoll add failed, errno : %d.", error);
    return STATUS_PROFILING_FAILED;
  }
  const int status = ReadProfilingData(epoll, fd, future, modelOpInfo);
  ORMO_LOG_DEBUG("Read profiling data, op size : %zu", modelOpInfo.opInfos.size());
  if (!epoll.Remove(fd)) {
    const int error = errno;
    ORMO_LOG_ERROR("Epoll del failed, errno : %d.", error);
  }
  return status;
}

int ProfilingParser::ReadProfilingData(EpollWaiter& epoll, int fd, std::future<int>& future,
                                       ModelOpInfo& modelOpInfo) const {
  size_t size = 0;
  if (GetOpDescSize(size) != STATUS_SUCCESS) {
    return STATUS_FAILED;
  }
  const size_t bufferSize = BufferSize(size);
  const std::unique_ptr<char[]> block(new (std::nothrow) char[bufferSize]());
  if (block == nullptr) {
    ORMO_LOG_ERROR("New read buffer failed");
    return STATUS_FAILED;
  }
  const int status = ReadLoop(epoll, fd, future, {block.get(), bufferSize, size}, modelOpInfo);
  SortOpInfo(modelOpInfo.opInfos);
  return status;
}

int ProfilingParser::ReadLoop(EpollWaiter& epoll, int fd, std::future<int>& future, Buffer buffer,
                              ModelOpInfo& modelOpInfo) const {
  int status = STATUS_SUCCESS;
  Next next = Next::WAIT;
  while (next != Next::END) {
    next = WaitForRecord(epoll, fd, future, status);
    if (next == Next::READ) {
      next = ReadRecords(fd, buffer, modelOpInfo, status);
    }
  }
  if (status == STATUS_SUCCESS && buffer.carried != 0) {
    status = DecodeTail(buffer.data, buffer.carried, modelOpInfo);
  }
  return status;
}

ProfilingParser::Next ProfilingParser::WaitForRecord(EpollWaiter& epoll, int fd,
                                                     std::future<int>& future, int& status) const {
  const EpollWaiter::Event event = WaitThroughSignals(epoll, idleWait_);
  const int error = errno;
  switch (event.outcome) {
    case EpollWaiter::Outcome::INTERRUPTED:
      return Next::WAIT;
    case EpollWaiter::Outcome::FAILED:
      ORMO_LOG_ERROR("Epoll wait failed, errno : %d.", error);
      status = STATUS_PROFILING_FAILED;
      return Next::END;
    case EpollWaiter::Outcome::TIME_OUT:
      return HandleIdleWait(epoll, future, status);
    case EpollWaiter::Outcome::READY:
      break;
  }
  if (event.fd != fd) {
    ORMO_LOG_WARNING("Receive event with invliad fd");
    return Next::END;
  }
  return Next::READ;
}

ProfilingParser::Next ProfilingParser::ReadRecords(int fd, Buffer& buffer, ModelOpInfo& modelOpInfo,
                                                   int& status) {
  char* const free = buffer.data + buffer.carried;
  const size_t room = buffer.size - buffer.carried;
  const int code = memset_s(free, room, 0, buffer.used - buffer.carried);
  if (code != 0) {
    ORMO_LOG_ERROR("Call memset_s failed, ret : %d", code);
  }
  buffer.used = buffer.carried;
  const int64_t bytesRead = FileUtils::Read(fd, free, static_cast<uint32_t>(room));
  if (bytesRead < 0) {
    ORMO_LOG_ERROR("Read data failed.");
    status = STATUS_PROFILING_FAILED;
    return Next::END;
  }
  if (bytesRead == 0) {
    return Next::END;
  }
  buffer.used += static_cast<size_t>(bytesRead);
  status = DecodeWholeRecords(buffer, modelOpInfo);
  return status == STATUS_SUCCESS ? Next::WAIT : Next::END;
}

int ProfilingParser::DecodeWholeRecords(Buffer& buffer, ModelOpInfo& modelOpInfo) {
  const size_t carried = buffer.used % buffer.recordSize;
  const size_t whole = buffer.used - carried;
  for (size_t at = 0; at < whole; at += buffer.recordSize) {
    const int status = Decode(buffer.data + at, buffer.recordSize, modelOpInfo);
    if (status != STATUS_SUCCESS) {
      return status;
    }
  }
  std::memmove(buffer.data, buffer.data + whole, carried);
  buffer.carried = carried;
  return STATUS_SUCCESS;
}

ProfilingParser::Next ProfilingParser::HandleIdleWait(EpollWaiter& epoll, std::future<int>& future,
                                                      int& status) {
  if (future.valid() && !HasEnded(future)) {
    ORMO_LOG_DEBUG("Wating for running finished");
    return Next::WAIT;
  }
  // Whoever closes the pipe does so before the run ends: seen from here, an end of the stream
  // counts before the run's status does.
  if (epoll.Wait(std::chrono::milliseconds(0)).outcome == EpollWaiter::Outcome::READY) {
    return Next::READ;
  }
  bool stop = false;
  const int runStatus = CheckRunModelResult(future, stop);
  if (runStatus != STATUS_OUT_OF_BOUND && (runStatus != STATUS_SUCCESS || stop)) {
    status = runStatus;
    return Next::END;
  }
  ORMO_LOG_DEBUG("Wating for running finished");
  return Next::WAIT;
}

bool ProfilingParser::HasEnded(const std::future<int>& future) {
  return future.wait_for(std::chrono::microseconds(1)) == std::future_status::ready;
}

int ProfilingParser::CheckRunModelResult(std::future<int>& future, bool& stop) {
  if (!future.valid()) {
    ORMO_LOG_INFO("Cannot get any data after running success, stop waiting.");
    stop = true;
    return STATUS_SUCCESS;
  }
  if (!HasEnded(future)) {
    return STATUS_SUCCESS;
  }
  const int status = future.get();
  if (status == STATUS_NOT_ENOUGH_MEMORY || status == STATUS_OUT_OF_BOUND) {
    ORMO_LOG_WARNING("No execute, skip waiting for profiling data");
    stop = true;
  } else if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Run model failed, skip waiting for profiling data");
  } else {
    ORMO_LOG_INFO("Run model success.");
  }
  return status;
}

}  // namespace Ormo
