#include "profiling/profiling_parser.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <limits>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "common/file_descriptor.h"
#include "ormo/status.h"
#include "profiling/fake_records.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

using std::chrono::milliseconds;

// Long enough that a read which needs one idle wait runs into the test's time-out.
constexpr milliseconds NEVER = std::chrono::hours(1);
constexpr milliseconds SHORT{5};

std::future<int> Ended(int status) {
  std::promise<int> promise;
  promise.set_value(status);
  return promise.get_future();
}

auto HasName(const char* name) {
  return Field(&RunnerOpInfo::opName, name);
}

class ProfilingParserTest : public ::testing::Test {
 protected:
  void TearDown() override {
    FailAccessor("");
    PretendRecordSize(0);
    PretendTextLength(0);
    IgnoreParts(false);
  }

  int Read(std::future<int>& future, milliseconds idleWait) {
    return ProfilingParser(idleWait).ReadModelOpInfo(pipe_.readEnd.Get(), future, info_);
  }

  void Write(const FakeRecord& record) { WriteRecord(pipe_.writeEnd.Get(), record); }

  Pipe pipe_ = Pipe::Open();
  ModelOpInfo info_;
};

TEST_F(ProfilingParserTest, EveryFieldOfARecordArrivesAndOperatorsAreSortedByTime) {
  Write(Op("late", 30, 45, 9));
  Write(Op("long", 10, 25, 8));
  Write(Step(5, 50));
  Write(Op("short", 10, 20, 4));
  pipe_.writeEnd.Reset();
  std::future<int> future = Ended(0);

  EXPECT_EQ(Read(future, NEVER), STATUS_SUCCESS);
  EXPECT_TRUE(future.valid()) << "the end of the stream goes before the run's status";
  ASSERT_THAT(info_.opInfos, ElementsAre(HasName("short"), HasName("long"), HasName("late")));
  const RunnerOpInfo& op = info_.opInfos[1];
  EXPECT_EQ(op.opType, "MatMul");
  EXPECT_EQ(op.modelId, "7");
  EXPECT_EQ(op.startTime, 10U);
  EXPECT_EQ(op.endTime, 25U);
  EXPECT_EQ(op.opCostTime, 15U);
  EXPECT_EQ(op.aicoreCostTime, 8U);
  ASSERT_EQ(info_.steps.size(), 1U);
  EXPECT_EQ(info_.steps.begin()->start, 5U);
  EXPECT_EQ(info_.steps.begin()->end, 50U);
}

// A run that succeeded or hit its bound is given one more wait for late records; others are not.
TEST_F(ProfilingParserTest, AnEndedRunEndsTheReadAtAnIdleWait) {
  for (const int runStatus :
       {STATUS_SUCCESS, STATUS_OUT_OF_BOUND, STATUS_NOT_ENOUGH_MEMORY, STATUS_EXECUTE_FAILED}) {
    SCOPED_TRACE(runStatus);
    const bool isRead = runStatus == STATUS_SUCCESS || runStatus == STATUS_OUT_OF_BOUND;
    LogCapture log;
    info_ = {};
    Write(Op("op", 10, 20));
    std::future<int> future = Ended(runStatus);
    EXPECT_EQ(Read(future, SHORT), isRead ? STATUS_SUCCESS : runStatus);
    EXPECT_FALSE(future.valid());
    EXPECT_EQ(info_.opInfos.size(), 1U);
    EXPECT_EQ(log.Count(DLOG_DEBUG, "Wating for running finished"), isRead ? 1U : 0U);
  }
}

TEST_F(ProfilingParserTest, ARunThatGoesOnIsWaitedFor) {
  LogCapture log;
  std::promise<int> run;
  std::future<int> future = run.get_future();
  std::thread worker([&] {
    while (log.Count(DLOG_DEBUG, "Wating for running finished") < 3) {
      std::this_thread::yield();
    }
    WriteRecord(pipe_.writeEnd.Get(), Op("op", 10, 20));
    run.set_value(0);
  });
  EXPECT_EQ(Read(future, SHORT), STATUS_SUCCESS);
  worker.join();
  EXPECT_EQ(info_.opInfos.size(), 1U);
}

TEST_F(ProfilingParserTest, AStreamThatEndsBeforeTheRunIsNeverTakenForAnIdleOne) {
  for (int round = 0; round < 200; ++round) {
    Pipe pipe = Pipe::Open();
    std::promise<int> run;
    std::future<int> future = run.get_future();
    std::thread worker([&] {
      pipe.writeEnd.Reset();
      run.set_value(STATUS_OUT_OF_BOUND);
    });
    ModelOpInfo info;
    EXPECT_EQ(ProfilingParser(milliseconds(0)).ReadModelOpInfo(pipe.readEnd.Get(), future, info),
              STATUS_SUCCESS);
    worker.join();
    ASSERT_TRUE(future.valid()) << "round " << round;
  }
}

TEST_F(ProfilingParserTest, ADamagedStreamEndsTheReadAndKeepsWhatCameBefore) {
  const std::vector<std::string> accessors = {"zelprofGetOpNum", "zelprofGetOpNameLen",
                                              "zelprofGetOpName", "zelprofGetOpTypeLen",
                                              "zelprofGetOpType"};
  for (const std::string& accessor : accessors) {
    SCOPED_TRACE(accessor);
    FailAccessor(accessor.c_str());
    Write(Op("op", 10, 20));
    std::future<int> future = Ended(0);
    EXPECT_EQ(Read(future, NEVER), STATUS_PROFILING_FAILED);
    EXPECT_TRUE(info_.opInfos.empty());
  }
  FailAccessor("");
  for (const auto& record : {Op("no start", 0, 20), Op("no end", 10, 0), Step(0, 5)}) {
    SCOPED_TRACE(record.name);
    info_ = {};
    Write(Op("second", 30, 40));
    Write(Op("first", 10, 20));
    Write(record);
    std::future<int> future = Ended(0);
    EXPECT_EQ(Read(future, NEVER), STATUS_PROFILING_FAILED);
    EXPECT_THAT(info_.opInfos, ElementsAre(HasName("first"), HasName("second")));
  }
}

void WriteBytes(int fd, const void* bytes, size_t size) {
  ASSERT_EQ(write(fd, bytes, size), static_cast<ssize_t>(size));
}

void WaitUntilRead(int fd) {
  int unread = 0;
  do {
    std::this_thread::yield();
    ASSERT_EQ(ioctl(fd, FIONREAD, &unread), 0);
  } while (unread != 0);
}

// Pieces that are one byte shorter than a record cut records at every place in turn; the rest is
// more than a pipe holds and than is read at once.
TEST_F(ProfilingParserTest, ARecordIsReadWhereverItIsCut) {
  constexpr uint64_t COUNT = 1500;
  constexpr size_t PIECE = sizeof(FakeRecord) - 1;
  std::vector<FakeRecord> records;
  for (uint64_t i = 1; i <= COUNT; ++i) {
    records.push_back(Op("op", i, i + 9));
  }
  const char* bytes = reinterpret_cast<const char*>(records.data());
  for (const bool isClosed : {true, false}) {
    SCOPED_TRACE(isClosed);
    Pipe pipe = Pipe::Open();
    std::promise<int> run;
    std::future<int> future = run.get_future();
    std::thread worker([&] {
      size_t at = 0;
      for (; at < PIECE * PIECE; at += PIECE) {
        WriteBytes(pipe.writeEnd.Get(), bytes + at, PIECE);
        WaitUntilRead(pipe.writeEnd.Get());
      }
      WriteBytes(pipe.writeEnd.Get(), bytes + at, COUNT * sizeof(FakeRecord) - at);
      if (isClosed) {
        pipe.writeEnd.Reset();
      }
      run.set_value(0);
    });
    ModelOpInfo info;
    EXPECT_EQ(ProfilingParser(SHORT).ReadModelOpInfo(pipe.readEnd.Get(), future, info), 0);
    pipe.readEnd.Reset();  // ends a worker that nobody reads from any more
    worker.join();
    ASSERT_EQ(info.opInfos.size(), COUNT);
    for (uint64_t i = 0; i < COUNT; ++i) {
      ASSERT_EQ(info.opInfos[i].endTime, i + 10);
    }
  }
}

TEST_F(ProfilingParserTest, AStreamThatEndsWithinARecordIsDamagedUnlessItsRunFailed) {
  for (const auto& [isClosed, runStatus, readStatus] :
       {std::tuple(true, STATUS_SUCCESS, STATUS_PROFILING_FAILED),
        {true, STATUS_EXECUTE_FAILED, STATUS_PROFILING_FAILED},
        {false, STATUS_SUCCESS, STATUS_PROFILING_FAILED},
        {false, STATUS_OUT_OF_BOUND, STATUS_PROFILING_FAILED},
        {false, STATUS_NOT_ENOUGH_MEMORY, STATUS_NOT_ENOUGH_MEMORY},
        {false, STATUS_EXECUTE_FAILED, STATUS_EXECUTE_FAILED},
        {true, STATUS_SUCCESS, STATUS_SUCCESS},
        {false, STATUS_SUCCESS, STATUS_SUCCESS}}) {
    SCOPED_TRACE(testing::Message() << "closed " << isClosed << ", run " << runStatus);
    LogCapture log(DLOG_WARN);
    const bool isIgnored = readStatus == STATUS_SUCCESS;
    IgnoreParts(isIgnored);
    pipe_ = Pipe::Open();
    info_ = {};
    Write(Op("second", 30, 40));
    Write(Op("first", 10, 20));
    WriteBytes(pipe_.writeEnd.Get(), "part", 4);
    if (isClosed) {
      pipe_.writeEnd.Reset();
    }
    std::future<int> future = Ended(runStatus);
    EXPECT_EQ(Read(future, SHORT), readStatus);
    EXPECT_EQ(future.valid(), isClosed);
    EXPECT_THAT(info_.opInfos, ElementsAre(HasName("first"), HasName("second")));
    EXPECT_EQ(log.Contains(DLOG_ERROR, "Get op info of model error."),
              readStatus == STATUS_PROFILING_FAILED);
    EXPECT_EQ(log.Contains(DLOG_WARN, "ends within a record, whose 4 bytes"), isIgnored);
  }
}

TEST_F(ProfilingParserTest, ATextLengthBeyondReasonIsMemoryThatCannotBeHad) {
  constexpr size_t LONGEST = size_t{64} << 20;
  for (const size_t length : {LONGEST, LONGEST + 1, size_t{8} << 30}) {
    SCOPED_TRACE(length);
    LogCapture log(DLOG_ERROR);
    PretendTextLength(length);
    Write(Op("op", 10, 20));
    std::future<int> future = Ended(0);
    EXPECT_EQ(Read(future, SHORT), length > LONGEST ? STATUS_PROFILING_FAILED : STATUS_SUCCESS);
    EXPECT_EQ(log.Contains(DLOG_ERROR, "Profiling new memory for op name failed."),
              length > LONGEST);
  }
  ASSERT_THAT(info_.opInfos, ElementsAre(HasName("op")));
  EXPECT_LT(info_.opInfos[0].opName.capacity(), sizeof(FakeRecord)) << "no more than it needs";
}

TEST_F(ProfilingParserTest, ARecordSizeThatCannotBeUsedFailsTheReadBeforeItBegins) {
  for (const size_t size : {size_t{1} << 32, std::numeric_limits<size_t>::max()}) {
    PretendRecordSize(size);
    std::future<int> future = Ended(0);
    EXPECT_EQ(Read(future, NEVER), STATUS_FAILED);
    EXPECT_TRUE(future.valid());
  }
  PretendRecordSize(0);
  FailAccessor("zelprofGetOpDescSize");
  std::future<int> future = Ended(0);
  EXPECT_EQ(Read(future, NEVER), STATUS_FAILED);
}

TEST_F(ProfilingParserTest, ADescriptorThatCannotBeWaitedForIsAFailureOfTheStream) {
  LogCapture log(DLOG_WARN);
  std::future<int> future = Ended(0);
  EXPECT_EQ(ProfilingParser(NEVER).ReadModelOpInfo(-1, future, info_), STATUS_PROFILING_FAILED);
  EXPECT_TRUE(log.Contains(DLOG_ERROR, "Epoll add failed, errno : 9."));
  EXPECT_TRUE(log.Contains(DLOG_WARN, "Read prof data execption, fd : -1"));
}

}  // namespace
}  // namespace Ormo::Testing
