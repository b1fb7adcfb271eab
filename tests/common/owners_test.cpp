// Who owns what, and until when.
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <stdexcept>
#include <thread>

#include "common/epoll_waiter.h"
#include "common/init_flag.h"
#include "common/platform_handles.h"
#include "common/scope_exit.h"
#include "common/singleton.h"
#include "ormo/file_utils.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"
#include "support/thread_state.h"

namespace Ormo::Testing {
namespace {

class Once : public Singleton<Once> {};

TEST(ReleaseTest, TellsWhatFailedAsALineOfTheOwner) {
  const LogCapture log(DLOG_ERROR);
  {
    const ScopeExit throws("one", [] { throw std::runtime_error("thrown"); });
    const ScopeExit fails("two", [] { return 7; });
    ScopeExit dismissed("three", [] { return 8; });
    dismissed.Dismiss();
    char data = 0;
    DataBuffer buffer;
    buffer.Reset(zelCreateDataBuffer(&data, 1));
    OrmoHost::Fail("zelDestroyDataBuffer", 1, 9);
    const DataBuffer moved = std::move(buffer);
  }
  { const Once another; }
  Once::Instance();
  EXPECT_THAT(log.Messages(),
              ElementsAre("Release of a data buffer failed, ret : 9",
                          "Release of two failed, ret : 7", "Release of one threw an exception",
                          HasSubstr("that has already been deconstructed")));
  for (const OrmoHost::LogLine& line : log.Lines()) {
    EXPECT_EQ(line.file, "owners_test.cpp") << line.text;
  }
}

std::string released;

void Note(const char* name) noexcept {
  released += name;
}

TEST(ReleaseTest, AnOwnerReleasesOnceAndInItsTime) {
  {
    Owner<const char*, Note> first("1");
    Owner<const char*, Note> second("2");
    Owner<const char*, Note>& same = first;
    first = std::move(same);
    EXPECT_EQ(released, "");
    first = std::move(second);
    EXPECT_EQ(released, "1");
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move): what is moved from is empty
    const Owner<const char*, Note> moved(std::move(first));
    EXPECT_STREQ(moved.Get(), "2");
    Owner<const char*, Note> third("3");
    third.Reset("4");
    EXPECT_STREQ(third.Detach(), "4");
  }
  EXPECT_EQ(released, "132");
}

TEST(FileDescriptorTest, ClosesOnceAndIsInheritedByNoProgram) {
  const auto before = OpenDescriptors();
  {
    Pipe pipe = Pipe::Open();
    EXPECT_TRUE(pipe);
    EXPECT_EQ(fcntl(pipe.readEnd.Get(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(pipe.writeEnd.Get(), F_GETFD), FD_CLOEXEC);
    FileDescriptor& same = pipe.readEnd;
    pipe.readEnd = std::move(same);
    EXPECT_EQ(OpenDescriptors().size(), before.size() + 2);
    pipe.readEnd = std::move(pipe.writeEnd);
    EXPECT_EQ(OpenDescriptors().size(), before.size() + 1);
    EXPECT_TRUE(pipe.readEnd);
    EXPECT_FALSE(pipe.writeEnd);
    FileDescriptor detached(pipe.readEnd.Detach());
    EXPECT_FALSE(pipe.readEnd);
  }
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_FALSE(FileDescriptor());
}

TEST(EpollWaiterTest, TellsWhatEndedTheWait) {
  using Outcome = EpollWaiter::Outcome;
  constexpr std::chrono::milliseconds now(0);
  EpollWaiter epoll;
  EXPECT_EQ(epoll.Wait(now).outcome, Outcome::FAILED);
  const auto before = OpenDescriptors();
  ASSERT_TRUE(epoll.Create());
  for (const auto& [fd, name] : OpenDescriptors()) {
    EXPECT_TRUE(before.count(fd) == 1 || fcntl(fd, F_GETFD) == FD_CLOEXEC) << name;
  }
  Pipe pipe = Pipe::Open();
  const int fd = pipe.readEnd.Get();
  EXPECT_FALSE(epoll.Add(-1));
  EXPECT_TRUE(epoll.Add(fd));
  EXPECT_EQ(epoll.Wait(now).outcome, Outcome::TIME_OUT);
  signal(SIGUSR1, [](int /*signal*/) {});
  std::atomic<bool> hasEnded{false};
  std::thread sender([&hasEnded, thread = pthread_self()] {
    while (!hasEnded) {  // one may come before the wait
      pthread_kill(thread, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  EXPECT_EQ(epoll.Wait(std::chrono::hours(1)).outcome, Outcome::INTERRUPTED);
  hasEnded = true;
  sender.join();
  FileUtils::Write(pipe.writeEnd.Get(), "x", 1);
  for (int twice = 0; twice < 2; ++twice) {
    const EpollWaiter::Event event = epoll.Wait(now);
    EXPECT_EQ(event.outcome, Outcome::READY);
    EXPECT_EQ(event.fd, fd);
  }
  EXPECT_TRUE(epoll.Remove(fd));
  EXPECT_FALSE(epoll.Remove(fd));
  EXPECT_EQ(epoll.Wait(now).outcome, Outcome::TIME_OUT);
}

TEST(InitFlagTest, AwaitsTheCallsOfOthersAndNoneThatAnotherProcessMade) {
  InitFlag flag;
  InitFlag other;
  EXPECT_FALSE(InitFlag::Call(flag));
  EXPECT_FALSE(flag.Clear());
  flag.Set();
  other.Set();
  const InitFlag::Call foreign(other);
  const InitFlag::Call own(flag);
  EXPECT_TRUE(own);
  std::promise<void> isIn;
  std::promise<void> mayLeave;
  const InitFlag::Call within(flag);
  std::thread caller([&] {
    const InitFlag::Call call(flag);
    const InitFlag::Call between(other);
    EXPECT_TRUE(InitFlag::Call(flag));
    const InitFlag::Call innermost(flag);
    isIn.set_value();
    mayLeave.get_future().wait();
  });
  isIn.get_future().wait();
  EXPECT_FALSE(flag.IsInherited());
  EXPECT_EXIT(
      {
        const bool isClear = !flag && flag.IsInherited() && !flag.Clear();
        flag.AwaitCalls();
        flag.Set();
        const bool isSet = flag && !flag.IsInherited() && InitFlag::Call(flag) && flag.Clear();
        flag.AwaitCalls();
        std::exit(isClear && isSet ? 0 : 1);  // NOLINT(concurrency-mt-unsafe)
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_TRUE(flag.Clear());
  EXPECT_FALSE(flag.Clear());
  flag.AwaitCalls(1);
  bool hasLeft = false;
  std::thread waker([&, id = gettid()] {
    AwaitSleep(id);
    hasLeft = true;
    mayLeave.set_value();
  });
  flag.AwaitCalls();
  EXPECT_TRUE(hasLeft);
  caller.join();
  waker.join();
}

}  // namespace
}  // namespace Ormo::Testing
