#include "profiling/profiling_parser.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "annex_k/annex_k.h"
#include "common/call_context.h"
#include "common/epoll_waiter.h"
#include "common/log.h"
#include "common/run_status.h"
#include "common/run_watch.h"
#include "ormo/file_utils.h"
#include "ormo/status.h"
#include "profiling/record_decoder.h"
#include "profiling/step_grouping.h"
#include "zel/zel_prof.h"

namespace Ormo {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// As much as a pipe holds at first.
constexpr size_t READ_SIZE = 65536;

const CancelState* CancelOfThisCall() {
  const RunWatch* const watch = CallContext::Watch();
  return watch == nullptr ? nullptr : watch->cancel.get();
}

// The read of one run's records.
class RecordReader {
 public:
  RecordReader(int fd, std::future<int>& future, milliseconds idleWait, ModelOpInfo& modelOpInfo)
      : fd_(fd), future_(future), idleWait_(idleWait), modelOpInfo_(modelOpInfo) {}

  int ProfDataRead();

 private:
  // What the read loop does next.
  enum class Next { READ, WAIT, END };

  bool AddToWait(int fd);
  int ReadProfilingData();
  bool MakeBuffer();

  Next WaitForRecord();
  Next EndCancelled();
  EpollWaiter::Event WaitThroughSignals();
  Next HandleIdleWait();
  Next CheckRunModelResult();

  Next ReadRecords();
  Next DecodeWholeRecords();
  void DecodeTail();
  bool Decode(size_t at, size_t length);
  Next Fail();

  const int fd_;
  std::future<int>& future_;
  const milliseconds idleWait_;
  ModelOpInfo& modelOpInfo_;
  const CancelState* const cancel_ = CancelOfThisCall();  // or null
  EpollWaiter epoll_;
  int status_ = STATUS_SUCCESS;

  // Room for a record at least; zero beyond what was there after the last read.
  std::unique_ptr<char[]> buffer_;
  size_t size_ = 0;
  size_t recordSize_ = 0;
  size_t used_ = 0;
  size_t carried_ = 0;  // bytes at the front whose record is not whole yet
};

int RecordReader::ProfDataRead() {
  if (!epoll_.Create()) {
    const int error = errno;
    ORMO_LOG_ERROR("Create epoll failed, errno : %d.", error);
    return STATUS_PROFILING_FAILED;
  }
  if (!AddToWait(fd_) || (cancel_ != nullptr && !AddToWait(cancel_->Fd()))) {
    return STATUS_PROFILING_FAILED;
  }
  const int status = ReadProfilingData();
  ORMO_LOG_DEBUG("Read profiling data, op size : %zu", modelOpInfo_.opInfos.size());
  if (!epoll_.Remove(fd_)) {
    const int error = errno;
    ORMO_LOG_ERROR("Epoll del failed, errno : %d.", error);
  }
  return status;
}

bool RecordReader::AddToWait(int fd) {
  if (!epoll_.Add(fd)) {
    const int error = errno;
    ORMO_LOG_ERROR("Epoll add failed, errno : %d.", error);
    return false;
  }
  return true;
}

int RecordReader::ReadProfilingData() {
  if (!MakeBuffer()) {
    return STATUS_FAILED;
  }
  Next next = Next::WAIT;
  while (next != Next::END) {
    next = next == Next::WAIT ? WaitForRecord() : ReadRecords();
  }
  if (status_ == STATUS_SUCCESS && carried_ != 0) {
    DecodeTail();
  }
  SortOpInfo(modelOpInfo_.opInfos);
  return status_;
}

bool RecordReader::MakeBuffer() {
  if (ProfilingParser::GetOpDescSize(recordSize_) != STATUS_SUCCESS) {
    return false;
  }
  size_ = std::max(READ_SIZE, recordSize_);
  buffer_.reset(new (std::nothrow) char[size_]());
  if (buffer_ == nullptr) {
    ORMO_LOG_ERROR("New read buffer failed");
    return false;
  }
  return true;
}

RecordReader::Next RecordReader::WaitForRecord() {
  const EpollWaiter::Event event = WaitThroughSignals();
  const int error = errno;
  if (event.outcome == EpollWaiter::Outcome::TIME_OUT) {
    return HandleIdleWait();
  }
  if (event.outcome != EpollWaiter::Outcome::READY) {
    ORMO_LOG_ERROR("Epoll wait failed, errno : %d.", error);
    return Fail();
  }
  if (cancel_ != nullptr && event.fd == cancel_->Fd()) {
    return EndCancelled();
  }
  if (event.fd != fd_) {
    ORMO_LOG_WARNING("Receive event with invliad fd");
    return Next::END;
  }
  return Next::READ;
}

// Whoever waits for the run discards what is still written.
RecordReader::Next RecordReader::EndCancelled() {
  if (CallContext::IsCancelled()) {
    ORMO_LOG_ERROR("The call has been cancelled, its profiling data is not read");
  }
  status_ = STATUS_FAILED;
  return Next::END;
}

// Signals that interrupt the wait do not make it any longer.
EpollWaiter::Event RecordReader::WaitThroughSignals() {
  const Clock::time_point deadline = Clock::now() + idleWait_;
  EpollWaiter::Event event = epoll_.Wait(idleWait_);
  while (event.outcome == EpollWaiter::Outcome::INTERRUPTED) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    event = epoll_.Wait(std::max(left, milliseconds(0)));
  }
  return event;
}

RecordReader::Next RecordReader::HandleIdleWait() {
  if (future_.valid() &&
      future_.wait_for(std::chrono::microseconds(1)) != std::future_status::ready) {
    ORMO_LOG_DEBUG("Wating for running finished");
    return Next::WAIT;
  }
  // Whoever closes the pipe does so before the run ends: seen from here, an end of the stream
  // counts before the run's status does.
  const EpollWaiter::Event event = epoll_.Wait(milliseconds(0));
  if (event.outcome == EpollWaiter::Outcome::READY) {
    return event.fd == fd_ ? Next::READ : Next::WAIT;
  }
  return CheckRunModelResult();
}

RecordReader::Next RecordReader::CheckRunModelResult() {
  if (!future_.valid()) {
    ORMO_LOG_INFO("Cannot get any data after running success, stop waiting.");
    return Next::END;
  }
  const RunEnding ending = EndingOf(future_.get());
  status_ = ending.readStatus;
  if (ending.status == STATUS_SUCCESS) {
    ORMO_LOG_INFO("Run model success.");
  } else if (ending.isFailure) {
    ORMO_LOG_ERROR("Run model failed, skip waiting for profiling data");
  } else {
    // True of a run that found no memory. One that reached its bound has executed, and its late
    // records are waited for like those of a run that succeeded.
    ORMO_LOG_WARNING("No execute, skip waiting for profiling data");
  }
  if (!ending.hasResult) {
    return Next::END;
  }
  ORMO_LOG_DEBUG("Wating for running finished");
  return Next::WAIT;
}

RecordReader::Next RecordReader::ReadRecords() {
  char* const free = buffer_.get() + carried_;
  const size_t room = size_ - carried_;
  const int code = memset_s(free, room, 0, used_ - carried_);
  if (code != 0) {
    ORMO_LOG_ERROR("Call memset_s failed, ret : %d", code);
  }
  used_ = carried_;
  const int64_t bytesRead = FileUtils::Read(fd_, free, static_cast<uint32_t>(room));
  if (bytesRead < 0) {
    ORMO_LOG_ERROR("Read data failed.");
    return Fail();
  }
  if (bytesRead == 0) {
    return Next::END;
  }
  used_ += static_cast<size_t>(bytesRead);
  return DecodeWholeRecords();
}

RecordReader::Next RecordReader::DecodeWholeRecords() {
  const size_t carried = used_ % recordSize_;
  const size_t whole = used_ - carried;
  for (size_t at = 0; at < whole; at += recordSize_) {
    if (!Decode(at, recordSize_)) {
      return Next::END;
    }
  }
  std::memmove(buffer_.get(), buffer_.get() + whole, carried);
  carried_ = carried;
  return Next::WAIT;
}

// A platform may take the part of a record for no record rather than for an error.
void RecordReader::DecodeTail() {
  const size_t before = modelOpInfo_.opInfos.size() + modelOpInfo_.steps.size();
  if (Decode(0, carried_) && modelOpInfo_.opInfos.size() + modelOpInfo_.steps.size() == before) {
    ORMO_LOG_WARNING("The profiling data ends within a record, whose %zu bytes are lost", carried_);
  }
}

bool RecordReader::Decode(size_t at, size_t length) {
  if (GetModelOpInfo(buffer_.get() + at, length, modelOpInfo_) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Get op info of model error.");
    Fail();
    return false;
  }
  return true;
}

RecordReader::Next RecordReader::Fail() {
  status_ = STATUS_PROFILING_FAILED;
  return Next::END;
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
  const int status = RecordReader(fd, future, idleWait_, modelOpInfo).ProfDataRead();
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_WARNING("Read prof data execption, fd : %d", fd);
  } else if (modelOpInfo.opInfos.empty()) {
    ORMO_LOG_WARNING("Read prof data empty, maybe no aicore operator");
  }
  ORMO_LOG_INFO("Read profiling data for fd %d finished", fd);
  return status;
}

}  // namespace Ormo
