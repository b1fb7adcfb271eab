// What stands inside the measuring loops, beside its floor: clock, averages, trace.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/trace_inner.h"
#include "common/utils.h"
#include "compare.h"
#include "ormo/trace.h"

namespace Ormo::Bench {
namespace {

constexpr int ROUNDS = 301;
constexpr size_t OPS = 1000;  // a round is short, so that a busy machine seldom interrupts it

void TwoRawReads() {
  for (size_t i = 0; i < OPS; ++i) {
    const uint64_t start = RawClock();
    benchmark::DoNotOptimize(RawClock() - start);
  }
}

// Timer start and stop; target: at most 1.2 times two raw-clock reads.
void TimerStartStop(benchmark::State& state) {
  Compare(
      state, OPS, 1.2,
      [] {
        for (size_t i = 0; i < OPS; ++i) {
          Timer timer;
          timer.Start();
          timer.Stop();
          benchmark::DoNotOptimize(timer.Elapsed());
        }
      },
      TwoRawReads);
}

BENCHMARK(TimerStartStop)->Iterations(ROUNDS);

// The average of a filled multiset; target: at most 1.2 times a loop over the same samples.
void AverageOfSamples(benchmark::State& state) {
  const auto count = static_cast<size_t>(state.range(0));
  std::mt19937_64 random(1);
  std::multiset<uint64_t> times;
  while (times.size() < count) {
    times.insert(random() % 1000000);
  }
  const size_t trimmed = count / 5;
  Compare(
      state, count, 1.2, [&times] { benchmark::DoNotOptimize(Utils::CalcAvgExecuteTime(times)); },
      [&times, count, trimmed] {
        uint64_t sum = 0;
        size_t at = 0;
        for (const uint64_t time : times) {
          if (at >= count - trimmed) {
            break;
          }
          sum += at < trimmed ? 0 : time;
          ++at;
        }
        benchmark::DoNotOptimize(sum / (count - 2 * trimmed));
      });
}

BENCHMARK(AverageOfSamples)->Arg(10)->Arg(1000)->Arg(100000)->Iterations(ROUNDS);

// Begin and end of a span; target: at most 5 times two raw-clock reads.
void SpanOfFixedName(benchmark::State& state) {
  Compare(
      state, OPS, 5,
      [] {
        Trace span("run model execute");
        for (size_t i = 0; i < OPS; ++i) {
          span.Start();
          span.Stop();
        }
      },
      TwoRawReads);
}

BENCHMARK(SpanOfFixedName)->Iterations(ROUNDS);

std::string MakeName(size_t id) {
  return "Execute model id" + std::to_string(id);
}

// The same with a new span and a new name each time, beside the reads and the name alone.
void SpanOfMadeName(benchmark::State& state) {
  Compare(
      state, OPS, 5,
      [] {
        for (size_t i = 0; i < OPS; ++i) {
          Trace span(MakeName(i));
          span.Start();
        }
      },
      [] {
        for (size_t i = 0; i < OPS; ++i) {
          const uint64_t start = RawClock();
          benchmark::DoNotOptimize(MakeName(i));
          benchmark::DoNotOptimize(RawClock() - start);
        }
      });
}

BENCHMARK(SpanOfMadeName)->Iterations(ROUNDS);

size_t HeapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// Memory of events that wait to be written; target: at most 110 bytes an event.
void PendingEventMemory(benchmark::State& state) {
  size_t bytes = 0;
  for (auto _ : state) {
    TraceInner recorder;
    const size_t before = HeapBytes();
    for (size_t i = 0; i < TraceInner::MAX_EVENTS_WITHOUT_FILE; ++i) {
      recorder.Begin("Execute model id" + std::to_string(i), "", "");
    }
    bytes = HeapBytes() - before;
  }
  constexpr auto events = static_cast<double>(TraceInner::MAX_EVENTS_WITHOUT_FILE);
  Judge(state, "bytes", static_cast<double>(bytes) / events, 110);
}

BENCHMARK(PendingEventMemory)->Iterations(1);

class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ormo_bench_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no temporary directory: " + pattern);
    }
    path_ = pattern;
  }

  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }

  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  std::string Path() const { return path_.string(); }

  uintmax_t FileSize() const {
    uintmax_t size = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      size += entry.file_size();
    }
    return size;
  }

 private:
  std::filesystem::path path_;
};

// How long begins take while 100,000 events are being written; target: 99.9 % within 1 ms.
void BeginsDuringWrite(benchmark::State& state) {
  constexpr size_t pending = 100000;
  constexpr uintmax_t smallestEvent = 60;
  std::vector<double> waits;
  size_t begins = 0;
  for (auto _ : state) {
    const TemporaryDirectory directory;
    TraceInner recorder(std::chrono::milliseconds(200));
    recorder.StartDumpTrace(directory.Path());
    for (size_t i = 0; i < pending; ++i) {
      recorder.Begin("run model execute", "", "");
    }
    while (directory.FileSize() < smallestEvent) {
    }
    // The write has begun. Begins go on, a handful at a time, until all of it stands in the file.
    while (directory.FileSize() < pending * smallestEvent) {
      for (int i = 0; i < 100; ++i) {
        const uint64_t start = RawClock();
        recorder.Begin("run model execute", "", "");
        waits.push_back(static_cast<double>(RawClock() - start));
        ++begins;
      }
    }
  }
  state.counters["begins"] = static_cast<double>(begins);
  state.counters["p50_ns"] = Quantile(waits, 0.5);
  state.counters["max_ns"] = Quantile(waits, 1.0);
  Judge(state, "p99.9_ns", Quantile(waits, 0.999), 1000000);
}

BENCHMARK(BeginsDuringWrite)->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace Ormo::Bench
