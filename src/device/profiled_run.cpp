#include "device/profiled_run.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <optional>
#include <string>

#include "common/call_context.h"
#include "common/log.h"
#include "common/run_status.h"
#include "common/run_watch.h"
#include "common/utils.h"
#include "ormo/status.h"
#include "ormo/trace.h"

namespace Ormo {
namespace {

constexpr char PROF_END_VARIABLE[] = "ORMO_PROF_END";
constexpr char PROF_END_CLOSE[] = "close";

// How often a drain of a pipe that stays open looks whether the task has ended.
constexpr int DRAIN_WAIT_MS = 10;

bool ClosesAtEnd() {
  const RunWatch* const watch = CallContext::Watch();
  if (watch != nullptr && watch->profilingEnd != ProfilingEnd::AS_ENVIRONMENT) {
    return watch->profilingEnd == ProfilingEnd::BY_CLOSING;
  }
  return Utils::FindEnv(PROF_END_VARIABLE) == PROF_END_CLOSE;
}

bool IsPending(const std::future<int>& future) {
  return future.valid() && future.wait_for(std::chrono::seconds(0)) != std::future_status::ready;
}

// Reads and discards what is in the pipe, waiting a little for more. False when nothing will come.
bool Discard(int fd) {
  pollfd readable = {fd, POLLIN, 0};
  const int ready = poll(&readable, 1, DRAIN_WAIT_MS);
  if (ready <= 0) {
    return ready == 0 || errno == EINTR;
  }
  std::array<char, 65536> discarded;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  const ssize_t count = read(fd, discarded.data(), discarded.size());
  return count > 0 || (count < 0 && errno == EINTR);
}

}  // namespace

thread_local ProfiledRun* ProfiledRun::ofThisThread_ = nullptr;

ProfiledRun::ProfiledRun() : closesAtEnd_(ClosesAtEnd()) {
  ofThisThread_ = this;
}

ProfiledRun::~ProfiledRun() {
  AwaitTask();
  ofThisThread_ = nullptr;
}

void ProfiledRun::AwaitTaskOfThisThread() noexcept {
  if (ofThisThread_ != nullptr) {
    ofThisThread_->AwaitTask();
  }
}

int ProfiledRun::Open(CallSite site) {
  pipe_ = Pipe::Open();
  if (!pipe_) {
    ORMO_LOG_ERROR_AT(site, "Pipe failed");
    return STATUS_FAILED;
  }
  return STATUS_SUCCESS;
}

int ProfiledRun::Read(const std::function<int(int, std::future<int>&)>& analysis, CallSite site) {
  Trace span("profiling analysis");
  span.Start();
  const int status = analysis(pipe_.readEnd.Get(), future_);
  AwaitTask();
  if (EndingOf(status).isFailure) {
    ORMO_LOG_ERROR_AT(site, "Profiling analysis failed");
  }
  return status;
}

int ProfiledRun::TakeStatus(int analysisStatus, CallSite site) {
  const int runStatus = future_.valid() ? future_.get() : STATUS_SUCCESS;
  if (isDropped_) {
    ORMO_LOG_ERROR_AT(site, "Run model failed");
  }
  const RunWatch* const watch = CallContext::Watch();
  if (watch != nullptr && watch->isCancelled) {  // of what it came to the records are missing
    return STATUS_FAILED;
  }
  return runStatus != STATUS_SUCCESS ? runStatus : analysisStatus;
}

void ProfiledRun::AwaitTask() noexcept {
  while (IsPending(future_)) {
    if (!Discard(pipe_.readEnd.Get())) {
      future_.wait();
    }
  }
}

}  // namespace Ormo
