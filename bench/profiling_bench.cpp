// From the bytes in the pipe to the operators of each execution.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cstring>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/file_descriptor.h"
#include "compare.h"
#include "profiling/profiling_parser.h"
#include "profiling/record_decoder.h"
#include "profiling/step_grouping.h"
#include "record_format.h"
#include "zel/zel_prof.h"

namespace Ormo::Bench {
namespace {

// --- The stream reader

// Reads to the end of the stream without looking at what it reads.
void ReadPlainly(int fd, size_t size) {
  std::vector<char> buffer(size);
  FileDescriptor epoll(epoll_create1(EPOLL_CLOEXEC));
  epoll_event event = {};
  event.events = EPOLLIN;
  Require(epoll_ctl(epoll.Get(), EPOLL_CTL_ADD, fd, &event) == 0);
  do {
    Require(epoll_wait(epoll.Get(), &event, 1, 1000) == 1);
    std::memset(buffer.data(), 0, size);
  } while (read(fd, buffer.data(), size) > 0);
}

void ReadWithParser(int fd, size_t count) {
  std::promise<int> running;
  std::future<int> future = running.get_future();
  ModelOpInfo info;
  Require(ProfilingParser().ReadModelOpInfo(fd, future, info) == 0);
  Require(info.opInfos.size() == count);
}

void WriteRecords(int fd, const std::vector<char>& records, size_t size) {
  for (size_t at = 0; at < records.size(); at += size) {
    Require(write(fd, &records[at], size) == static_cast<ssize_t>(size));
  }
}

// A pipe that holds all records, with the writer gone.
template <typename Read>
double TimeFullPipe(const std::vector<char>& records, size_t size, Read read) {
  Pipe pipe = Pipe::Open();
  WriteRecords(pipe.writeEnd.Get(), records, size);
  pipe.writeEnd.Reset();
  return NanosecondsOf([&] { read(pipe.readEnd.Get()); });
}

// A pipe into which another thread writes as fast as there is room.
template <typename Read>
double TimeLivePipe(const std::vector<char>& records, size_t size, Read read) {
  Pipe pipe = Pipe::Open();
  std::thread writer([&] {
    WriteRecords(pipe.writeEnd.Get(), records, size);
    pipe.writeEnd.Reset();
  });
  const double time = NanosecondsOf([&] { read(pipe.readEnd.Get()); });
  writer.join();
  return time;
}

// Reading, decoding and sorting; target: at least 0.8 times the records per second of a reader
// that does none but the first, which is at most 1.25 times its time.
template <typename Pipe>
void ReadStream(benchmark::State& state, size_t count, Pipe timePipe) {
  const auto size = static_cast<size_t>(state.range(0));
  SetRecordSize(size);
  const std::vector<char> records = MakeRecords(count, size);
  CompareTimes(
      state, count, 1.25,
      [&] { return timePipe(records, size, [&](int fd) { ReadWithParser(fd, count); }); },
      [&] { return timePipe(records, size, [&](int fd) { ReadPlainly(fd, size); }); });
}

void StreamFromFullPipe(benchmark::State& state) {
  constexpr size_t pipeSize = 65536;
  ReadStream(state, pipeSize / static_cast<size_t>(state.range(0)),
             [](auto&&... arguments) { return TimeFullPipe(arguments...); });
}

BENCHMARK(StreamFromFullPipe)->RangeMultiplier(2)->Range(64, 512)->Iterations(301);

void StreamLive(benchmark::State& state) {
  ReadStream(state, 20000, [](auto&&... arguments) { return TimeLivePipe(arguments...); });
}

BENCHMARK(StreamLive)->RangeMultiplier(2)->Range(64, 512)->Iterations(101)->UseRealTime();

// --- One record

std::string FetchText(decltype(zelprofGetOpNameLen) getLength, decltype(zelprofGetOpName) getText,
                      const char* record, size_t size) {
  std::string text;
  size_t length = 0;
  Require(getLength(record, size, 0, &length) == 0);
  text.resize(length);
  Require(getText(record, size, 0, text.data(), length) == 0);
  text.resize(strnlen(text.data(), length));
  return text;
}

void DecodePlainly(const char* record, size_t size, ModelOpInfo& info) {
  uint32_t count = 0;
  Require(zelprofGetOpNum(record, size, &count) == 0 && count == 1);
  RunnerOpInfo op;
  op.opName = FetchText(zelprofGetOpNameLen, zelprofGetOpName, record, size);
  op.opType = FetchText(zelprofGetOpTypeLen, zelprofGetOpType, record, size);
  op.startTime = zelprofGetOpStart(record, size, 0);
  op.endTime = zelprofGetOpEnd(record, size, 0);
  op.modelId = std::to_string(zelprofGetModelId(record, size, 0));
  op.aicoreCostTime = ProfGetOpExecutionTime(record, static_cast<uint32_t>(size), 0);
  op.opCostTime = zelprofGetOpDuration(record, size, 0);
  if (op.opType == "na") {
    info.steps.insert({op.startTime, op.endTime});
  } else {
    info.opInfos.push_back(std::move(op));
  }
}

// Target: at most 1.2 times fields straight into the record's strings, moved.
void DecodeRecord(benchmark::State& state) {
  constexpr size_t count = 1000;
  const auto size = static_cast<size_t>(state.range(0));
  SetRecordSize(size);
  const std::vector<char> records = MakeRecords(count, size);
  ModelOpInfo info;
  const auto timeDecoding = [&](auto decode) {
    info.opInfos.clear();
    return NanosecondsOf([&] {
      for (size_t at = 0; at < records.size(); at += size) {
        decode(&records[at], size, info);
      }
    });
  };
  CompareTimes(
      state, count, 1.2, [&] { return timeDecoding(GetModelOpInfo); },
      [&] { return timeDecoding(DecodePlainly); });
}

BENCHMARK(DecodeRecord)->RangeMultiplier(2)->Range(64, 512)->Iterations(301);

// --- Operators into steps

constexpr size_t OPERATORS = 1000000;

// As many operators in as many steps of equal length; times rise.
ModelOpInfo MakeRun(size_t steps) {
  ModelOpInfo info;
  RunnerOpInfo op;
  op.opName = "hidden1/matmul";
  op.opType = "MatMul";
  op.modelId = "7";
  info.opInfos.reserve(OPERATORS);
  for (size_t i = 0; i < OPERATORS; ++i) {
    op.startTime = 1000 * i;
    op.endTime = op.startTime + 900;
    info.opInfos.push_back(op);
  }
  const size_t stepTime = 1000 * OPERATORS / steps;
  for (size_t i = 0; i < steps; ++i) {
    info.steps.insert({stepTime * i, stepTime * (i + 1) - 1});
  }
  return info;
}

// Knows that operators are sorted, that steps follow each other and that every operator lies in
// one.
int SweepPlainly(const ModelOpInfo& info, std::vector<RunnerRunResult>& results) {
  auto first = info.opInfos.begin();
  auto result = results.begin();
  for (const StepOpInfo& step : info.steps) {
    auto last = first;
    while (last != info.opInfos.end() && last->endTime <= step.end) {
      ++last;
    }
    result->opInfos.reserve(static_cast<size_t>(last - first));
    result->opInfos.insert(result->opInfos.end(), first, last);
    first = last;
    ++result;
  }
  return 0;
}

template <typename Group>
double TimeGrouping(const ModelOpInfo& info, Group group) {
  std::vector<RunnerRunResult> results(info.steps.size());
  const double time = NanosecondsOf([&] { Require(group(info, results) == 0); });
  Require(results.back().opInfos.size() == OPERATORS / info.steps.size());
  return time;
}

// Target: at most 1.3 times one sorted sweep with a reserved copy.
void OperatorsIntoSteps(benchmark::State& state) {
  const ModelOpInfo info = MakeRun(static_cast<size_t>(state.range(0)));
  CompareTimes(
      state, OPERATORS, 1.3, [&] { return TimeGrouping(info, GetOpInfoByStep); },
      [&] { return TimeGrouping(info, SweepPlainly); });
}

BENCHMARK(OperatorsIntoSteps)->Arg(100)->Arg(10000)->Iterations(15);

// 10,000 steps beside 100; target: at most 1.5 times.
void ManyStepsBesideFew(benchmark::State& state) {
  const ModelOpInfo many = MakeRun(10000);
  const ModelOpInfo few = MakeRun(100);
  CompareTimes(
      state, OPERATORS, 1.5, [&] { return TimeGrouping(many, GetOpInfoByStep); },
      [&] { return TimeGrouping(few, GetOpInfoByStep); });
}

BENCHMARK(ManyStepsBesideFew)->Iterations(15);

}  // namespace
}  // namespace Ormo::Bench
