// The recorder's thread: it writes what was recorded.
#include <exception>
#include <utility>

#include "common/log.h"
#include "common/scope_exit.h"
#include "common/trace_inner.h"
#include "common/trace_text.h"

namespace Ormo {

namespace {

// All lines of the recorder carry one file's name.
constexpr CallSite Site(int line = __builtin_LINE()) {
  return {"trace_inner.cpp", line};
}

}  // namespace

void TraceInner::DumpTraceRoutine() noexcept {
  try {
    if (OpenFile()) {
      while (WaitForPeriod()) {
        DumpTrace();
      }
      DumpTrace();
    }
  } catch (const std::exception& e) {
    ORMO_TRACE_LOG_ERROR_AT(Site(), "Write trace failed, exception info is [%s].", e.what());
  }
  CloseFile();
  LimitEvents(true);
}

bool TraceInner::OpenFile() {
  TPath path;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    path = tracePath;
  }
  if (!file.Open(path)) {
    ORMO_TRACE_LOG_ERROR_AT(Site(), "Open %s failed", path.GetCString());
    return false;
  }
  return DumpHead(path);
}

bool TraceInner::DumpHead(const TPath& path) {
  ScopeExit remove("a trace file without a document", [&] { file.Remove(path); });
  if (!file.WriteHead()) {
    ORMO_TRACE_LOG_ERROR_AT(Site(), "Write trace file failed.");
    return false;
  }
  remove.Dismiss();
  return true;
}

// Says whether the recorder goes on after the wait.
bool TraceInner::WaitForPeriod() {
  std::unique_lock<std::mutex> lock(mutex);
  return !stopped_.wait_for(lock, dumpPeriod_, [this] { return state_ != State::WRITING; });
}

void TraceInner::DumpTrace() {
  TraceEvents taken = GetEvents();
  if (taken.Count() == 0) {
    ORMO_TRACE_LOG_INFO_AT(Site(), "No trace to dump.");
    return;
  }
  // Block by block, so that the text stays small however much was recorded.
  while (taken.Count() > 0) {
    TraceEvents block = taken.TakeBlock();
    if (!DumpEvents(block)) {
      taken.PutBack(std::move(block));
      PutBackEvents(std::move(taken));
      return;
    }
  }
}

bool TraceInner::DumpEvents(const TraceEvents& block) {
  bool written = false;
  try {
    written = file.Append(TraceText(block, processId_));
  } catch (const std::exception& e) {
    ORMO_TRACE_LOG_ERROR_AT(Site(), "Trace json dump failed, exception info is [%s].", e.what());
    return false;
  }
  if (!written) {
    ORMO_TRACE_LOG_ERROR_AT(Site(), "Write trace file failed.");
  }
  LimitEvents(!written);
  return written;
}

void TraceInner::CloseFile() noexcept {
  if (!file.Close()) {
    ORMO_LOG_ERROR_AT(CallSite::Here("file_utils.cpp"), "Chmod failed, path : %s, ret : %d",
                      tracePath.c_str(), -1);
  }
}

}  // namespace Ormo
