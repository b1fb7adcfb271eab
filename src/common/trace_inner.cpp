#include "common/trace_inner.h"

#include <array>
#include <csignal>
#include <cstddef>
#include <exception>
#include <new>
#include <utility>

#include "common/blocked_signals.h"
#include "common/fork_count.h"
#include "common/log.h"
#include "common/utils.h"

namespace Ormo {

namespace {

constexpr char BEGIN_EVENT = 'B';
constexpr char END_EVENT = 'E';
constexpr uint64_t NS_PER_US = 1000;
constexpr char FILE_PREFIX[] = "ormo_trace_";

uint64_t NowInMicroseconds() {
  return Utils::GetClockMonoRawTime() / NS_PER_US;
}

// The calling thread's id, asked for once. Destroyed without code, so that it does not keep the
// library loaded until the thread ends.
std::string_view CurrentThreadId() {
  thread_local std::array<char, 16> text{};
  thread_local size_t size = 0;
  if (size == 0) {
    size = Utils::GetTid().copy(text.data(), text.size());
  }
  return {text.data(), size};
}

// Exists while the calling thread inserts an event. A handler of a signal that comes in there
// finds the mutex held by the thread it runs on, and may end the process all the same.
class Insertion {
 public:
  Insertion() noexcept { underWay_ = 1; }

  ~Insertion() { underWay_ = 0; }

  Insertion(const Insertion&) = delete;
  Insertion& operator=(const Insertion&) = delete;

  static bool IsUnderWay() noexcept { return underWay_ != 0; }

 private:
  static thread_local volatile std::sig_atomic_t underWay_;
};

thread_local volatile std::sig_atomic_t Insertion::underWay_ = 0;

std::string TraceFilePath(const std::string& dir, const std::string& processId) {
  std::string path = dir;
  if (!path.empty() && path.back() != '/') {
    path += '/';
  }
  return path + FILE_PREFIX + Utils::GetTimeStamp() + "_pid" + processId + ".json";
}

}  // namespace

TraceInner::TraceInner(std::chrono::milliseconds dumpPeriod)
    : dumpPeriod_(dumpPeriod), processId_(Utils::GetPid()), forkCount_(ForkCount()) {}

TraceInner::~TraceInner() {
  Close();
}

TraceInner& TraceInner::Instance() {
  // Closed when the process ends or the library is unloaded, and never destroyed: callers' threads
  // may record even then.
  struct Recorder {
    Recorder() { new (storage) TraceInner(); }

    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    ~Recorder() { Get().Close(); }

    TraceInner& Get() { return *std::launder(reinterpret_cast<TraceInner*>(storage)); }

    alignas(TraceInner) std::byte storage[sizeof(TraceInner)] = {};
  };

  static Recorder recorder;
  return recorder.Get();
}

bool TraceInner::IsInherited() const noexcept {
  return forkCount_ != ForkCount();
}

// Runs `change` under the mutex and keeps the bound; says so when events are dropped for it the
// first time.
template <typename Change>
void TraceInner::ChangeEvents(Change change) {
  bool isFirstDrop = false;
  {
    const Insertion insertion;
    const std::lock_guard<std::mutex> lock(mutex);
    change();
    const bool dropped = limited_ && events.KeepNewest(MAX_EVENTS_WITHOUT_FILE);
    isFirstDrop = dropped && !std::exchange(dropReported_, true);
  }
  if (isFirstDrop) {
    ORMO_TRACE_LOG_WARNING("No trace file, only the latest %zu events are kept.",
                           MAX_EVENTS_WITHOUT_FILE);
  }
}

// Says whether there is a thread to be joined.
bool TraceInner::SetClosed() noexcept {
  const std::lock_guard<std::mutex> lock(mutex);
  return std::exchange(state_, State::CLOSED) == State::WRITING;
}

void TraceInner::Close() noexcept {
  if (IsInherited() || Insertion::IsUnderWay()) {
    return;
  }
  if (SetClosed()) {
    stopped_.notify_all();
    dumpThread.join();
  }
  const TraceEvents forgotten = GetEvents();
}

void TraceInner::Begin(std::string_view name, std::string_view processId,
                       std::string_view threadId) noexcept {
  Begin(name, processId, threadId, NowInMicroseconds());
}

void TraceInner::Begin(std::string_view name, std::string_view processId, std::string_view threadId,
                       uint64_t ts) noexcept {
  InsertItem({name, BEGIN_EVENT, processId, threadId.empty() ? CurrentThreadId() : threadId, ts});
}

void TraceInner::End(std::string_view name, std::string_view processId,
                     std::string_view threadId) noexcept {
  End(name, processId, threadId, NowInMicroseconds());
}

void TraceInner::End(std::string_view name, std::string_view processId, std::string_view threadId,
                     uint64_t ts) noexcept {
  InsertItem({name, END_EVENT, processId, threadId.empty() ? CurrentThreadId() : threadId, ts});
}

void TraceInner::InsertItem(const EventInfo& event) noexcept {
  if (IsInherited() || Insertion::IsUnderWay()) {
    return;
  }
  try {
    ChangeEvents([&] {
      if (state_ != State::CLOSED) {
        events.Add(event);
      }
    });
  } catch (const std::exception& e) {
    ORMO_TRACE_LOG_ERROR("Add trace item failed, exception info is [%s].", e.what());
  }
}

void TraceInner::StartDumpTrace(const std::string& dir) noexcept {
  if (IsInherited()) {
    return;
  }
  try {
    const BlockedSignals blocked;  // until the mutex is free: a handler may end the process
    const std::lock_guard<std::mutex> lock(mutex);
    if (state_ != State::IDLE) {
      return;
    }
    std::string path = TraceFilePath(dir, processId_);
    dumpThread = std::thread(&TraceInner::DumpTraceRoutine, this);
    state_ = State::WRITING;
    tracePath = std::move(path);
    limited_ = false;
  } catch (const std::exception& e) {
    ORMO_TRACE_LOG_ERROR("Start trace failed, exception info is [%s].", e.what());
  }
}

TraceEvents TraceInner::GetEvents() noexcept {
  const std::lock_guard<std::mutex> lock(mutex);
  return std::move(events);
}

void TraceInner::PutBackEvents(TraceEvents older) noexcept {
  ChangeEvents([&] { events.PutBack(std::move(older)); });
}

void TraceInner::LimitEvents(bool limited) noexcept {
  ChangeEvents([&] { limited_ = limited; });
}

}  // namespace Ormo
