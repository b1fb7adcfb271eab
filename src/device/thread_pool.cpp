#include "device/thread_pool.h"

#include <numeric>
#include <system_error>

#include "common/scope_exit.h"
#include "common/trace_inner.h"
#include "common/utils.h"
#include "ormo/status.h"

namespace Ormo {

thread_local bool ThreadPool::isWorker_ = false;

ThreadPool::ThreadPool(const std::vector<uint32_t>& threadIds, const std::string& name)
    : name_(name) {
  ORMO_LOG_INFO("Create thread pool with vector size : %zu", threadIds.size());
  CreateThreads(threadIds);
}

ThreadPool::ThreadPool(size_t threadNum, const std::string& name) : name_(name) {
  ORMO_LOG_INFO("Create thread pool with size : %zu", threadNum);
  std::vector<uint32_t> threadIds(threadNum);
  std::iota(threadIds.begin(), threadIds.end(), 0);
  CreateThreads(threadIds);
}

ThreadPool::~ThreadPool() {
  Stop();
}

void ThreadPool::CreateThreads(const std::vector<uint32_t>& threadIds) {
  // Workers record spans until they are joined: made first, the recorder is destroyed last.
  TraceInner::Instance();
  try {
    for (const uint32_t id : threadIds) {
      CreateThread(id);
    }
  } catch (...) {
    Stop();
    throw;
  }
}

void ThreadPool::CreateThread(size_t threadId) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto id = static_cast<uint32_t>(threadId);
  // What the worker looks at stands before it starts: without memory for it, the worker could not
  // tell anybody.
  tasks_[ANY_THREAD_ID];
  tasks_[id].clear();
  threads_.emplace_back(ThreadFunc, this, id, name_ + std::to_string(id));
  ORMO_LOG_DEBUG("Create thread id[%zu]", threadId);
}

void ThreadPool::Stop() noexcept {
  isStopped_ = true;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    cond_.notify_all();
  }
  for (std::thread& thread : threads_) {
    if (!thread.joinable()) {  // it was stopped before
      continue;
    }
    try {
      thread.join();
    } catch (const std::system_error&) {
      ORMO_LOG_WARNING("system_error");
    } catch (...) {
      ORMO_LOG_WARNING("exception");
    }
    // A thread that could not be joined, such as the one that ends the process, goes its own way.
    if (thread.joinable()) {
      thread.detach();
    }
  }
}

int ThreadPool::CheckThreadId(uint32_t threadId) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (threadId == ANY_THREAD_ID || tasks_.find(threadId) != tasks_.end()) {
    return STATUS_SUCCESS;
  }
  return STATUS_INVALID_PARAM;
}

bool ThreadPool::MayCommit(const WorkerId& worker) {
  if (isStopped_ || isRefusing_) {
    ORMO_LOG_ERROR_AT(worker.site, "Thread pool has been stopped");
    return false;
  }
  if (CheckThreadId(worker.value) != STATUS_SUCCESS) {
    CallContext::KeepReason("Device [%u] has no worker", worker.value);
    ORMO_LOG_ERROR_AT(worker.site, "Commit thread id invalid.");
    return false;
  }
  return true;
}

bool ThreadPool::Commit(std::list<Task>& task, WorkerId worker) {
  if (!MayCommit(worker)) {
    return false;
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!isRefusing_) {
      std::list<Task>& queue = tasks_[worker.value];
      queue.splice(queue.end(), task);
    }
  }
  if (!task.empty()) {
    ORMO_LOG_ERROR_AT(worker.site, "Thread pool has been stopped");
    return false;
  }
  cond_.notify_all();
  return true;
}

void ThreadPool::Refuse() {
  std::list<Task> queued;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isRefusing_ = true;
    for (auto& [id, queue] : tasks_) {
      queued.splice(queued.end(), queue);
    }
  }
  for (const Task& task : queued) {
    task.run(ANY_THREAD_ID);
  }
}

void ThreadPool::Withdraw(const CallContext& call) {
  std::list<Task> withdrawn;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [id, queue] : tasks_) {
      for (auto task = queue.begin(); task != queue.end();) {
        const auto current = task++;
        if (current->call == &call) {
          withdrawn.splice(withdrawn.end(), queue, current);
        }
      }
    }
  }
  for (const Task& task : withdrawn) {
    task.run(ANY_THREAD_ID);
  }
}

void ThreadPool::AwaitIdle() {
  std::unique_lock<std::mutex> lock(mutex_);
  idle_.wait(lock, [this] { return busy_ <= (isWorker_ ? 1 : 0); });
}

// Waits for a task of the worker's own or of the shared queue; false when the pool stops without
// one.
bool ThreadPool::TakeTask(const std::string& threadName, uint32_t threadId, std::list<Task>& task) {
  std::unique_lock<std::mutex> lock(mutex_);
  std::list<Task>& own = tasks_[threadId];
  std::list<Task>& shared = tasks_[ANY_THREAD_ID];
  cond_.wait(lock, [&] { return isStopped_ || !own.empty() || !shared.empty(); });
  if (own.empty() && shared.empty()) {
    ORMO_LOG_INFO("Stop thread [%s], isStopped : %d, tasks num : %zu, assign num : %zu",
                  threadName.c_str(), 1, own.size(), shared.size());
    return false;
  }
  std::list<Task>& queue = own.empty() ? shared : own;
  task.splice(task.end(), queue, queue.begin());
  ++busy_;
  return true;
}

void ThreadPool::EndTask(std::list<Task>& task) {
  task.clear();
  const std::lock_guard<std::mutex> lock(mutex_);
  --busy_;
  idle_.notify_all();
}

void ThreadPool::ThreadFunc(ThreadPool* pool, uint32_t threadId, const std::string& threadName) {
  isWorker_ = true;
  ReleaseQuietly("the thread's old name", [&] { Utils::SetCurrentThreadName(threadName); });
  ORMO_LOG_DEBUG("Start thread [%s]", threadName.c_str());
  while (!pool->isStopped_) {
    std::list<Task> task;
    if (!pool->TakeTask(threadName, threadId, task)) {
      return;
    }
    const ScopeExit end("a task", [&] { pool->EndTask(task); });
    task.front().run(threadId);
  }
  ORMO_LOG_DEBUG("Stop thread [%s]", threadName.c_str());
}

}  // namespace Ormo
