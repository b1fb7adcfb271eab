#include "profiling/profiling_parser.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <future>
#include <limits>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "common/file_descriptor.h"
#include "ormo/status.h"
#include "profiling/scripted_stream.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/open_descriptors.h"

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
  void SetUp() override { script = {}; }

  int Read(std::future<int>& future, milliseconds idleWait) {
    return ProfilingParser(idleWait).ReadModelOpInfo(pipe_.readEnd.Get(), future, info_);
  }

  void Write(const Record& record) { WriteRecord(pipe_.writeEnd.Get(), record); }

  Pipe pipe_ = Pipe::Open();
  ModelOpInfo info_;
};

TEST_F(ProfilingParserTest, EveryFieldOfARecordArrivesAndOperatorsAreSortedByTime) {
  Write(Op("late", 30, 45, 9));
  Write(Op("long", 10, 25, 8));
  Write(Op("same", 10, 25, 8));
  Write(Step(5, 50));
  Write(Op("short", 10, 20, 4));
  pipe_.writeEnd.Reset();
  std::future<int> future = Ended(0);

  EXPECT_EQ(Read(future, NEVER), STATUS_SUCCESS);
  EXPECT_TRUE(future.valid()) << "the end of the stream goes before the run's status";
  ASSERT_THAT(info_.opInfos,
              ElementsAre(HasName("short"), HasName("long"), HasName("same"), HasName("late")));
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

// A run that has a result is given one more wait for late records; others are not. Whoever closes
// the pipe ends the read before it, whatever the run's status.
TEST_F(ProfilingParserTest, WhatTheStatusOfARunBecomesAndItsLines) {
  using Strings = std::vector<std::string>;
  constexpr int UNFORESEEN = 4711;
  const std::string failed = "Run model failed, skip waiting for profiling data";
  const std::string skipped = "No execute, skip waiting for profiling data";
  const std::string waited = "Cannot get any data after running success, stop waiting.";
  const std::string fd = std::to_string(pipe_.readEnd.Get());
  const std::string finished = "Read profiling data for fd " + fd + " finished";
  const std::string exception = "Read prof data execption, fd : " + fd;
  // The run's status, that of a read until the pipe is idle, and its lines.
  const std::tuple<int, int, Strings> cases[] = {
      {STATUS_SUCCESS, 0, {"Run model success.", waited, finished}},
      {STATUS_OUT_OF_BOUND, 0, {skipped, waited, finished}},
      {STATUS_NOT_ENOUGH_MEMORY, STATUS_NOT_ENOUGH_MEMORY, {skipped, exception, finished}},
      {STATUS_EXECUTE_FAILED, STATUS_EXECUTE_FAILED, {failed, exception, finished}},
      {UNFORESEEN, UNFORESEEN, {failed, exception, finished}},
  };
  for (const bool isClosed : {false, true}) {
    for (const auto& [runStatus, idleStatus, lines] : cases) {
      SCOPED_TRACE(testing::Message() << "run " << runStatus << ", closed " << isClosed);
      LogCapture log(DLOG_INFO);
      script = {};
      info_ = {};
      if (isClosed) {
        pipe_.writeEnd.Reset();
      } else {
        Write(Op("op", 10, 20));
      }
      std::future<int> future = Ended(runStatus);
      EXPECT_EQ(Read(future, SHORT), isClosed ? 0 : idleStatus);
      EXPECT_EQ(future.valid(), isClosed);
      EXPECT_EQ(info_.opInfos.size(), isClosed ? 0U : 1U);
      const Strings emptyLines = {"Read prof data empty, maybe no aicore operator", finished};
      EXPECT_EQ(log.Messages(), isClosed ? emptyLines : lines);
      std::vector<int> timeouts = {5, 5, 0, 5, 0};  // two idle waits
      timeouts.resize(isClosed ? 1 : idleStatus == 0 ? 5 : 3);
      EXPECT_EQ(script.timeouts, timeouts);
    }
  }
}

TEST_F(ProfilingParserTest, ARunThatGoesOnIsWaitedFor) {
  Write(Op("op", 10, 20));
  pipe_.writeEnd.Reset();
  script.waits = {0, 0};
  std::promise<int> run;
  std::future<int> future = run.get_future();
  EXPECT_EQ(Read(future, SHORT), STATUS_SUCCESS);
  EXPECT_THAT(script.timeouts, ElementsAre(5, 5, 5, 5));
  EXPECT_EQ(info_.opInfos.size(), 1U);

  script.waits = {0};  // timed out just before the stream ended
  future = Ended(STATUS_OUT_OF_BOUND);
  EXPECT_EQ(Read(future, SHORT), STATUS_SUCCESS);
  EXPECT_TRUE(future.valid()) << "the end of the stream is no idle one";
}

TEST_F(ProfilingParserTest, SignalsNeitherEndAWaitNorMakeItLonger) {
  Write(Op("op", 10, 20));
  script.waits = {EINTR, EINTR};
  pipe_.writeEnd.Reset();
  std::future<int> future = Ended(0);
  EXPECT_EQ(Read(future, NEVER), STATUS_SUCCESS);
  EXPECT_EQ(info_.opInfos.size(), 1U);
  constexpr int HOUR = NEVER.count();
  ASSERT_THAT(script.timeouts,
              ElementsAre(HOUR, ::testing::Lt(HOUR), ::testing::Lt(script.timeouts[1]), HOUR));
  EXPECT_GT(script.timeouts[2], HOUR / 2);

  pipe_ = Pipe::Open();
  script.waits = {EINTR};
  EXPECT_EQ(Read(future, milliseconds(1)), STATUS_SUCCESS);
  EXPECT_EQ(script.timeouts[5], 0) << "no time is left, and waits for ever are negative";
}

TEST_F(ProfilingParserTest, ADamagedStreamEndsTheReadAndKeepsWhatCameBefore) {
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
// more than a pipe holds and than is read at once. To the reader, a record may hold many.
TEST_F(ProfilingParserTest, ARecordIsReadWhereverItIsCut) {
  constexpr uint64_t COUNT = 2000;
  constexpr size_t PIECE = sizeof(Record) - 1;
  const LogCapture log(DLOG_WARN);
  std::vector<Record> records;
  for (uint64_t i = 1; i <= COUNT; ++i) {
    records.push_back(Op("op", i, i + 9));
  }
  const char* bytes = reinterpret_cast<const char*>(records.data());
  for (const size_t recordCount : {size_t{1}, COUNT / 2}) {
    SCOPED_TRACE(recordCount);
    script.recordSize = recordCount * sizeof(Record);
    Pipe pipe = Pipe::Open();
    std::promise<int> run;
    std::future<int> future = run.get_future();
    std::thread worker([&, isClosed = recordCount == 1] {
      size_t at = 0;
      for (; at < PIECE * PIECE; at += PIECE) {
        WriteBytes(pipe.writeEnd.Get(), bytes + at, PIECE);
        WaitUntilRead(pipe.writeEnd.Get());
      }
      WriteBytes(pipe.writeEnd.Get(), bytes + at, COUNT * sizeof(Record) - at);
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
  EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(ProfilingParserTest, AStreamThatEndsWithinARecordIsDamagedUnlessItsRunFailed) {
  for (const auto& [isClosed, runStatus, readStatus] :
       {std::tuple(true, STATUS_SUCCESS, STATUS_PROFILING_FAILED),
        {true, STATUS_EXECUTE_FAILED, STATUS_PROFILING_FAILED},
        {false, STATUS_SUCCESS, STATUS_PROFILING_FAILED},
        {false, STATUS_OUT_OF_BOUND, STATUS_PROFILING_FAILED},
        {false, STATUS_NOT_ENOUGH_MEMORY, STATUS_NOT_ENOUGH_MEMORY},
        {false, STATUS_EXECUTE_FAILED, STATUS_EXECUTE_FAILED},
        {true, STATUS_SUCCESS, STATUS_SUCCESS}}) {
    SCOPED_TRACE(testing::Message() << "closed " << isClosed << ", run " << runStatus);
    LogCapture log(DLOG_WARN);
    const bool isIgnored = readStatus == STATUS_SUCCESS;
    script.ignoresParts = isIgnored;
    pipe_ = Pipe::Open();
    info_ = {};
    Write(Op("second", 30, 40));
    Write(Op("first", 10, 20));
    Write(Step(10, 40));
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
    script.nameLength = length;
    Write(Op("op", 10, 20));
    std::future<int> future = Ended(0);
    EXPECT_EQ(Read(future, SHORT), length > LONGEST ? STATUS_PROFILING_FAILED : STATUS_SUCCESS);
    EXPECT_EQ(log.Contains(DLOG_ERROR, "Profiling new memory for op name failed."),
              length > LONGEST);
  }
  ASSERT_THAT(info_.opInfos, ElementsAre(HasName("op")));
  EXPECT_LT(info_.opInfos[0].opName.capacity(), sizeof(Record)) << "no more than it needs";
}

TEST_F(ProfilingParserTest, ARecordSizeThatCannotBeUsedFailsTheRead) {
  constexpr size_t LARGEST = std::numeric_limits<uint32_t>::max();
  for (const auto& [recordSize, status] :
       {std::pair(size_t{0}, STATUS_FAILED), {1, 0}, {LARGEST, 0}, {LARGEST + 1, STATUS_FAILED}}) {
    size_t size = 0;
    script.recordSize = recordSize;
    EXPECT_EQ(ProfilingParser::GetOpDescSize(size), status);
    EXPECT_EQ(size, recordSize);
  }
  std::future<int> future = Ended(0);
  EXPECT_EQ(Read(future, NEVER), STATUS_FAILED);
  EXPECT_TRUE(future.valid());
}

TEST_F(ProfilingParserTest, WaitsAndReadsThatFailAreFailuresOfTheStream) {
  const auto descriptors = OpenDescriptors();
  const int failure = STATUS_PROFILING_FAILED;
  // What fails, or how the first wait ends; the status, and the line.
  const std::tuple<const char*, int, int, const char*> cases[] = {
      {"epoll_create1", 1, failure, "Create epoll failed, errno : 99."},
      {"epoll_ctl add", 1, failure, "Epoll add failed, errno : 99."},
      {"epoll_ctl del", 1, 0, "Epoll del failed, errno : 99."},
      {"wait", EBADF, failure, "Epoll wait failed, errno : 9."},
      {"wait", -1, 0, "Receive event with invliad fd"},
      {"mmRead", 1, failure, "Read data failed."},
      {"memset_s", 1, 0, "Call memset_s failed, ret : 99"},
  };
  for (const auto& [failing, wait, status, line] : cases) {
    SCOPED_TRACE(line);
    const LogCapture log(DLOG_WARN);
    script = {};
    script.failing = failing;
    if (wait != 1) {
      script.waits = {wait};
    }
    OrmoHost::Fail(failing, 1, FAILURE);
    Write(Op("op", 10, 20));
    std::future<int> future = Ended(0);
    EXPECT_EQ(Read(future, SHORT), status);
    EXPECT_NE(log.Find(line).file, "");
    EXPECT_EQ(log.Contains(DLOG_WARN, "Read prof data execption, fd : "), status != 0);
  }
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

}  // namespace
}  // namespace Ormo::Testing
