// What measuring adds to an execution: the platform's execution is replaced in this program by one
// that does nothing.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <set>
#include <string>

#include "common/utils.h"
#include "compare.h"
#include "empty_model.h"
#include "model/run_manager.h"
#include "ormo/ormo_runner.h"
#include "ormo/trace.h"
#include "zel/zel_mdl.h"

int32_t zelmdlExecute(uint32_t /*modelId*/, const zelmdlDataset* /*input*/,
                      zelmdlDataset* /*output*/) {
  return 0;
}

namespace Ormo::Bench {
namespace {

constexpr int ROUNDS = 301;

/// The interval between two reads with nothing in between, averaged as the library averages.
double BareInterval(size_t loop) {
  std::multiset<uint64_t> times;
  for (size_t i = 0; i < loop; ++i) {
    const uint64_t start = RawClock();
    times.insert(RawClock() - start);
  }
  return static_cast<double>(Utils::CalcAvgExecuteTime(times));
}

/// The time reported for an execution that does nothing; target: at most 1.35 times the interval of
/// two reads.
void ReportedNothing(benchmark::State& state) {
  const EmptyModel model;
  RunnerConfig config;
  config.loop = 1000;
  CompareTimes(
      state, 1,
      [&] {
        RunnerResult result;
        Require(OrmoOfflineRunModel(model.Id(), config, result) == 0);
        return static_cast<double>(result.totalCostTime);
      },
      [&] { return BareInterval(config.loop); });
}

BENCHMARK(ReportedNothing)->Iterations(ROUNDS);

void MeasurePlainly(const RunnerConfig& config) {
  Trace span("Execute model id7");
  std::multiset<uint64_t> times;
  for (size_t i = 0; i < config.loop; ++i) {
    span.Start();
    const uint64_t start = RawClock();
    const uint64_t time = RawClock() - start;
    span.Stop();
    times.insert(time);
    if (config.runTimeBound <= time) {
      break;
    }
  }
  benchmark::DoNotOptimize(Utils::CalcAvgExecuteTime(times));
}

/// One iteration of the measuring loop, with its span; target: at most 1.2 times two reads, an
/// insertion, the bound's test and a span.
void LoopIteration(benchmark::State& state) {
  const EmptyModel model;
  RunManager manager;
  Require(manager.Init(0) == 0);
  RunnerConfig config;
  config.loop = 1000;
  RunInfo info;
  info.modelId = model.Id();
  Compare(
      state, config.loop, [&] { Require(manager.Process(config, info) == 0); },
      [&] { MeasurePlainly(config); });
  manager.Finalize();
}

BENCHMARK(LoopIteration)->Iterations(ROUNDS);

}  // namespace
}  // namespace Ormo::Bench
