#include "ormo/trace.h"

#include <utility>

#include "common/trace_inner.h"

namespace Ormo {

Trace::Trace(std::string spanName, std::string processId, std::string threadId)
    : name(std::move(spanName)), pid(std::move(processId)), tid(std::move(threadId)) {}

Trace::~Trace() {
  Stop();
}

void Trace::Start() noexcept {
  if (canStart) {
    TraceInner::Instance().Begin(name, pid, tid);
    canStart = false;
    started = true;
  }
}

void Trace::Stop() noexcept {
  if (started) {
    TraceInner::Instance().End(name, pid, tid);
    started = false;
    canStart = true;
  }
}

void Trace::StartDumpTraceToPath(const std::string& dir) {
  TraceInner::Instance().StartDumpTrace(dir);
}

}  // namespace Ormo
