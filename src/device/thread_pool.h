/// \file
/// Worker threads, one for each claimed device.
#ifndef ORMO_DEVICE_THREAD_POOL_H
#define ORMO_DEVICE_THREAD_POOL_H

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "common/call_context.h"
#include "common/call_site.h"
#include "common/log.h"

namespace Ormo {

/// Commits to it go to whichever worker is free first.
constexpr uint32_t ANY_THREAD_ID = 0xFFFFFFFF;

/// The worker that a task is committed to, with the place of the commit: a default argument cannot
/// follow a parameter pack, a converting constructor can have one.
struct WorkerId {
  // NOLINTNEXTLINE(google-explicit-constructor)
  WorkerId(uint32_t id, CallSite callSite = CallSite::Here()) : value(id), site(callSite) {}

  uint32_t value;
  CallSite site;
};

/// Runs tasks on numbered workers. A worker takes its own tasks first, in the order of their
/// commits, then those for any worker.
class ThreadPool {
 public:
  struct Task {
    std::function<void(uint32_t)> run;
    const CallContext* call = nullptr;  ///< that it works for; only compared
  };

  /// One worker for each id; an id that stands twice gets two workers with one queue. Throws what
  /// starting a thread throws, with no thread left behind.
  ThreadPool(const std::vector<uint32_t>& threadIds, const std::string& name);

  /// Workers 0 to threadNum - 1.
  ThreadPool(size_t threadNum, const std::string& name);

  /// Lets every worker finish its task and joins it. Tasks still queued are destroyed; their
  /// futures report a broken promise.
  ~ThreadPool();

  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  /// Queues `f(args..., id of the worker that runs it)`. Arguments are copied; use std::ref for
  /// what the caller keeps alive until the future is ready. What the task throws comes out of the
  /// future. It works for the calling thread's call (see CallContext). The future is invalid, and a
  /// line of the caller's file says why, when nothing was queued: the pool is stopped, it has no
  /// such worker, or memory ran out. Any thread; does not block.
  template <typename F, typename... Args>
  auto Commit(F&& f, WorkerId worker, Args&&... args);

  /// Queues the one element of `task`, made beforehand, as Commit does. False, with the element
  /// left where it is, when it was not queued. Allocates nothing.
  bool Commit(std::list<Task>& task, WorkerId worker);

  /// From now on refuses commits, and gives every queued task ANY_THREAD_ID for the worker that it
  /// runs on, since none will. The workers live on.
  void Refuse();

  /// Gives the queued tasks of one call ANY_THREAD_ID likewise.
  void Withdraw(const CallContext& call);

  /// Waits until no worker is busy but the calling one.
  void AwaitIdle();

  /// Lets every worker finish its task and joins it, but for the calling one.
  void Stop() noexcept;

  /// Whether the calling thread is a worker of a pool.
  static bool IsWorker() noexcept { return isWorker_; }

  /// 0 when the id has a queue or is ANY_THREAD_ID, else STATUS_INVALID_PARAM. Any thread.
  int CheckThreadId(uint32_t threadId);

 private:
  void CreateThreads(const std::vector<uint32_t>& threadIds);
  void CreateThread(size_t threadId);
  bool MayCommit(const WorkerId& worker);
  bool TakeTask(const std::string& threadName, uint32_t threadId, std::list<Task>& task);
  void EndTask(std::list<Task>& task);
  static void ThreadFunc(ThreadPool* pool, uint32_t threadId, const std::string& threadName);

  static thread_local bool isWorker_;

  std::atomic<bool> isStopped_{false};
  std::atomic<bool> isRefusing_{false};
  std::string name_;
  std::mutex mutex_;
  std::vector<std::thread> threads_;
  std::condition_variable cond_;
  /// Lists, since what is to be queued without fail can bring its own element.
  std::unordered_map<uint32_t, std::list<Task>> tasks_;
  size_t busy_ = 0;               ///< workers that run a task
  std::condition_variable idle_;  ///< told when one has ended its task
};

template <typename F, typename... Args>
auto ThreadPool::Commit(F&& f, WorkerId worker, Args&&... args) {
  using Bound =
      decltype(std::bind(std::forward<F>(f), std::forward<Args>(args)..., std::placeholders::_1));
  using Result = std::invoke_result_t<Bound&, uint32_t>;
  using Packaged = std::packaged_task<Result(uint32_t)>;

  if (!MayCommit(worker)) {
    return std::future<Result>();
  }
  try {
    CallContext* const call = CallContext::Current();
    // Adopted within what makes the future ready: the call may be gone thereafter.
    const auto packaged = std::make_shared<Packaged>(
        [call, bound = std::bind(std::forward<F>(f), std::forward<Args>(args)...,
                                 std::placeholders::_1)](uint32_t threadId) mutable {
          const CallContext::Adopted adopted(call);
          return bound(threadId);
        });
    std::list<Task> task;
    task.push_back({[packaged](uint32_t threadId) { (*packaged)(threadId); }, call});
    std::future<Result> future = packaged->get_future();
    return Commit(task, worker) ? std::move(future) : std::future<Result>();
  } catch (const std::bad_alloc&) {
    ORMO_LOG_ERROR_AT(worker.site, "Make shared failed.");
    return std::future<Result>();
  }
}

}  // namespace Ormo

#endif  // ORMO_DEVICE_THREAD_POOL_H
