#include "device/thread_pool.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <system_error>
#include <thread>
#include <vector>

#include "device/device_manager.h"
#include "ormo/status.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

const std::vector<uint32_t> DEVICES = {0, 1};

// How many more threads the system starts.
std::atomic<int> threadsLeft{1000000};

// Keeps a worker busy until it is opened; outlives the pool.
class Gate {
 public:
  // Returns when the worker is in.
  std::future<int> Block(ThreadPool& pool, uint32_t id) {
    std::future<int> running = pool.Commit(
        [this](uint32_t) {
          entered_.set_value();
          open_.get_future().wait();
          return 0;
        },
        id);
    entered_.get_future().wait();
    return running;
  }

  void Open() { open_.set_value(); }

 private:
  std::promise<void> entered_;
  std::promise<void> open_;
};

TEST(ThreadPoolTest, AWorkerRunsItsOwnTasksInOrderBeforeThoseForAnyWorker) {
  Gate gate;
  ThreadPool pool(std::vector<uint32_t>{3}, "Test");
  gate.Block(pool, 3);
  std::vector<int> order;
  const auto note = [&order](int number, uint32_t) { order.push_back(number); };
  auto shared = pool.Commit(note, ANY_THREAD_ID, 3);
  auto first = pool.Commit(note, 3, 1);
  auto second = pool.Commit(note, 3, 2);
  gate.Open();
  shared.wait();

  EXPECT_THAT(order, ElementsAre(1, 2, 3));
}

TEST(ThreadPoolTest, WithoutAThreadForEveryWorkerThereIsNone) {
  threadsLeft = 1;
  EXPECT_THROW(ThreadPool(DEVICES, "Test"), std::system_error);
  LogCapture log(DLOG_ERROR);
  EXPECT_EQ(DeviceManager::Init(DEVICES), STATUS_FAILED);
  threadsLeft = 1000000;
  EXPECT_THAT(log.Messages(), ElementsAre("Create thread pool failed"));
  EXPECT_FALSE(DeviceManager::IsInitialized());
}

TEST(ThreadPoolTest, AnUnknownWorkerGetsNothingAndTheCommittersFileSaysSo) {
  LogCapture log(DLOG_ERROR);
  ThreadPool pool(DEVICES, "Test");

  EXPECT_EQ(pool.CheckThreadId(1), STATUS_SUCCESS);
  EXPECT_EQ(pool.CheckThreadId(ANY_THREAD_ID), STATUS_SUCCESS);
  EXPECT_EQ(pool.CheckThreadId(7), STATUS_INVALID_PARAM);
  EXPECT_FALSE(pool.Commit([](uint32_t) {}, 7).valid());
  EXPECT_EQ(pool.CheckThreadId(7), STATUS_INVALID_PARAM) << "asking made a queue";
  EXPECT_EQ(log.Find("Commit thread id invalid.").file, "thread_pool_test.cpp");
}

TEST(ThreadPoolTest, TwoWorkersOfOneIdShareItsQueue) {
  Gate gates[2];
  ThreadPool pool(std::vector<uint32_t>{4, 4}, "Test");
  for (Gate& gate : gates) {
    EXPECT_TRUE(gate.Block(pool, 4).valid());
  }
  gates[0].Open();
  gates[1].Open();
}

TEST(ThreadPoolTest, AnEndingPoolFinishesRunningTasksAndDropsQueuedOnes) {
  Gate gate;
  std::future<int> running;
  std::future<int> queued;
  std::thread opener;
  {
    ThreadPool pool(size_t{1}, "Test");
    running = gate.Block(pool, 0);
    queued = pool.Commit([](uint32_t) { return 1; }, 0);
    // A refused commit shows that the pool is told to stop; its destructor waits for the running
    // task, and so for the gate.
    opener = std::thread([&] {
      while (pool.Commit([](uint32_t) {}, 0).valid()) {
      }
      gate.Open();
    });
  }
  opener.join();
  EXPECT_EQ(running.get(), 0);
  EXPECT_THROW(queued.get(), std::future_error);
}

TEST(ThreadPoolTest, ADrainedPoolLetsTheRunningTaskEndAndTellsQueuedOnesThatNoWorkerTakesThem) {
  Gate gate;
  ThreadPool pool(DEVICES, "Test");
  std::future<int> running = gate.Block(pool, 0);
  const auto workerId = [&gate](uint32_t id) {
    gate.Open();  // from here on Drain waits for the worker
    return id;
  };
  std::future<uint32_t> queued = pool.Commit(workerId, 0);
  pool.Refuse();
  pool.AwaitIdle();
  EXPECT_EQ(queued.get(), ANY_THREAD_ID);
  EXPECT_EQ(running.wait_for(std::chrono::seconds(0)), std::future_status::ready);
  EXPECT_FALSE(pool.Commit(workerId, 0).valid());
}

}  // namespace
}  // namespace Ormo::Testing

// Stands before the system's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's are reserved
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*routine)(void*), void* argument) {
  static const auto next =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return Ormo::Testing::threadsLeft-- > 0 ? next(thread, attributes, routine, argument) : EAGAIN;
}
