// From a commit to its result.
#include <benchmark/benchmark.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <queue>
#include <thread>
#include <unordered_map>
#include <vector>

#include "compare.h"
#include "device/thread_pool.h"

namespace Ormo::Bench {
namespace {

constexpr int ROUNDS = 301;
constexpr uint32_t COMMITS = 20;

// --- The floor: two threads that wake each other

class Flag {
 public:
  void Raise() {
    value_ = 1;
    Call(FUTEX_WAKE_PRIVATE, 1);
  }

  void AwaitAndLower() {
    while (value_.exchange(0) == 0) {
      Call(FUTEX_WAIT_PRIVATE, 0);
    }
  }

 private:
  void Call(int operation, int value) {
    syscall(SYS_futex, reinterpret_cast<int*>(&value_), operation, value, nullptr, nullptr, 0);
  }

  std::atomic<int> value_{0};
};

// A thread that answers.
class Pong {
 public:
  Pong() = default;
  Pong(const Pong&) = delete;
  Pong& operator=(const Pong&) = delete;

  ~Pong() {
    ended_ = true;
    ping_.Raise();
    thread_.join();
  }

  void Ping() {
    ping_.Raise();
    pong_.AwaitAndLower();
  }

 private:
  void Answer() {
    for (ping_.AwaitAndLower(); !ended_; ping_.AwaitAndLower()) {
      pong_.Raise();
    }
  }

  std::atomic<bool> ended_{false};
  Flag ping_;
  Flag pong_;
  std::thread thread_{&Pong::Answer, this};
};

// --- The peer: the pool's rule, without its names, checks and log lines

class PlainPool {
 public:
  explicit PlainPool(uint32_t count) {
    for (uint32_t id = 0; id <= count; ++id) {
      queues_[id];
    }
    for (uint32_t id = 0; id < count; ++id) {
      threads_.emplace_back(
          [this, &own = queues_[id], &shared = queues_[count], id] { Work(own, shared, id); });
    }
  }

  PlainPool(const PlainPool&) = delete;
  PlainPool& operator=(const PlainPool&) = delete;

  ~PlainPool() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ended_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_) {
      thread.join();
    }
  }

  template <typename Function>
  auto Commit(Function function, uint32_t id) {
    auto task = std::make_shared<std::packaged_task<int(uint32_t)>>(function);
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      queues_[id].push([task](uint32_t worker) { (*task)(worker); });
    }
    wake_.notify_all();
    return task->get_future();
  }

 private:
  using Queue = std::queue<std::function<void(uint32_t)>>;

  void Work(Queue& own, Queue& shared, uint32_t id) {
    while (true) {
      std::unique_lock<std::mutex> lock(mutex_);
      wake_.wait(lock, [&] { return ended_ || !own.empty() || !shared.empty(); });
      if (ended_) {
        return;
      }
      Queue& queue = own.empty() ? shared : own;
      const auto task = std::move(queue.front());
      queue.pop();
      lock.unlock();
      task(id);
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::unordered_map<uint32_t, Queue> queues_;
  bool ended_ = false;
  std::vector<std::thread> threads_;
};

// --- Rows

template <typename Pool>
void CommitAndGet(Pool& pool, uint32_t workers) {
  for (uint32_t i = 0; i < COMMITS; ++i) {
    const uint32_t worker = i % workers;
    Require(pool.Commit([](uint32_t id) { return static_cast<int>(id); }, worker).get() ==
            static_cast<int>(worker));
  }
}

// One idle worker; target: at most 1.5 times a bare ping-pong of two threads.
void CommitToResult(benchmark::State& state) {
  ThreadPool pool(1, "Bench");
  Pong pong;
  Compare(
      state, COMMITS, 1.5, [&] { CommitAndGet(pool, 1); },
      [&] {
        for (uint32_t i = 0; i < COMMITS; ++i) {
          pong.Ping();
        }
      });
}

BENCHMARK(CommitToResult)->Iterations(ROUNDS)->UseRealTime();

// Several idle workers, in turn; target: at most 1.1 times the same pool as plain code.
void CommitToResultOfMany(benchmark::State& state) {
  const auto workers = static_cast<uint32_t>(state.range(0));
  ThreadPool pool(workers, "Bench");
  PlainPool plain(workers);
  Compare(
      state, COMMITS, 1.1, [&] { CommitAndGet(pool, workers); },
      [&] { CommitAndGet(plain, workers); });
}

BENCHMARK(CommitToResultOfMany)->Arg(8)->Arg(64)->Iterations(ROUNDS)->UseRealTime();

}  // namespace
}  // namespace Ormo::Bench
