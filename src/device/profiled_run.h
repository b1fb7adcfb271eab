/// \file
/// The whole life of a profiled run: its pipe, its task on a worker, the reading of its records and
/// its status.
#ifndef ORMO_DEVICE_PROFILED_RUN_H
#define ORMO_DEVICE_PROFILED_RUN_H

#include <cstdint>
#include <functional>
#include <future>
#include <tuple>
#include <utility>

#include "common/call_site.h"
#include "common/file_descriptor.h"
#include "device/device_manager.h"
#include "ormo/status.h"

namespace Ormo {

/// One profiled run, driven by the thread that waits for it: Open, Commit, Read, TakeStatus. The
/// worker writes records into the pipe while this thread reads them.
///
/// On every way out, exceptions included, the object first waits until the task has ended, reading
/// and discarding what it still writes, so that the worker is never left blocked on a full pipe and
/// nothing that the task refers to goes before it; then it closes both ends of the pipe. It must
/// therefore be declared after everything that the task refers to.
///
/// With the environment variable ORMO_PROF_END set to "close", the write end is closed on the
/// worker as soon as the task has ended, and the reader, instead of finding the pipe idle, sees its
/// end.
class ProfiledRun {
 public:
  ProfiledRun();
  ~ProfiledRun();
  ProfiledRun(const ProfiledRun&) = delete;
  ProfiledRun& operator=(const ProfiledRun&) = delete;

  /// Makes the pipe. 0, or STATUS_FAILED after an error line of `site`'s file.
  int Open(CallSite site = CallSite::Here());

  /// Where the write end's descriptor stands, for RunInfo::profFd; -1 there once it is closed.
  int32_t* WriteEnd() { return pipe_.writeEnd.Address(); }

  /// Commits the task as DeviceManager::Commit does. False when nothing was queued. A task that is
  /// dropped gives STATUS_FAILED and closes the write end.
  template <typename Task, typename... Args>
  bool Commit(Task task, WorkerId worker, Args&&... args) {
    future_ = DeviceManager::Commit(
        [this, task = std::move(task), site = worker.site](auto&&... taskArgs) mutable {
          const uint32_t id = std::get<sizeof...(taskArgs) - 1>(std::forward_as_tuple(taskArgs...));
          isDropped_ = DeviceManager::IsDropped(id, site);
          const WriteEndCloser closer(closesAtEnd_ || isDropped_ ? &pipe_.writeEnd : nullptr);
          return isDropped_ ? STATUS_FAILED
                            : static_cast<int>(task(std::forward<decltype(taskArgs)>(taskArgs)...));
        },
        worker, std::forward<Args>(args)...);
    return future_.valid();
  }

  /// Runs `analysis` on the read end while the task runs, within the span "profiling analysis", and
  /// returns its status once the task has ended. A failure (see RunEnding) is logged as such.
  int Read(const std::function<int(int, std::future<int>&)>& analysis,
           CallSite site = CallSite::Here());

  /// The status of the whole run: the task's when the analysis did not take it and it is not 0,
  /// else the analysis's; STATUS_FAILED when a cancellation has ended either. A task that was
  /// dropped is a failure to run, in `site`'s file. Rethrows what the task threw.
  int TakeStatus(int analysisStatus, CallSite site = CallSite::Here());

  /// For a thread that ends the process or the devices in the middle of its own run, in a signal
  /// handler: waits for the task, whose records nobody else would read.
  static void AwaitTaskOfThisThread() noexcept;

 private:
  /// Closes the write end, if there is one to close, when the task has returned or thrown.
  class WriteEndCloser {
   public:
    explicit WriteEndCloser(FileDescriptor* writeEnd) : writeEnd_(writeEnd) {}

    WriteEndCloser(const WriteEndCloser&) = delete;
    WriteEndCloser& operator=(const WriteEndCloser&) = delete;

    ~WriteEndCloser() {
      if (writeEnd_ != nullptr) {
        writeEnd_->Reset();
      }
    }

   private:
    FileDescriptor* writeEnd_;
  };

  void AwaitTask() noexcept;

  static thread_local ProfiledRun* ofThisThread_;

  bool closesAtEnd_;
  bool isDropped_ = false;
  Pipe pipe_;
  std::future<int> future_;
};

}  // namespace Ormo

#endif  // ORMO_DEVICE_PROFILED_RUN_H
