// What measuring adds to an execution: the platform's execution is replaced in this program by one
// that does nothing.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <set>
#include <string>

#include "common/call_context.h"
#include "common/run_watch.h"
#include "common/utils.h"
#include "compare.h"
#include "model/run_manager.h"
#include "offline/run_task.h"
#include "ormo/ormo_runner.h"
#include "ormo/trace.h"
#include "spin_models.h"
#include "zel/zel_mdl.h"

int32_t zelmdlExecute(uint32_t /*modelId*/, const zelmdlDataset* /*input*/,
                      zelmdlDataset* /*output*/) {
  return 0;
}

namespace Ormo::Bench {
namespace {

constexpr int ROUNDS = 301;

// In place of a run: the intervals between two reads with nothing in between, averaged as the
// library averages.
int ReadClockTwice(RunnerConfig& config, RunInfo& info, const error_message::Context& /*context*/,
                   uint32_t /*deviceId*/) {
  std::multiset<uint64_t> times;
  for (size_t i = 0; i < config.loop; ++i) {
    const uint64_t start = RawClock();
    times.insert(RawClock() - start);
  }
  info.runCostTime = Utils::CalcAvgExecuteTime(times);
  return 0;
}

double Report(RunnerConfig& config, uint32_t modelId, OfflineTask task) {
  RunInfo info;
  info.modelId = modelId;
  RunnerResult result;
  Require(OrmoOfflineRunProcess(config, info, result, task) == 0);
  return static_cast<double>(result.totalCostTime);
}

// The time reported for an execution that does nothing; target: at most 1.35 times the interval of
// two reads on the same thread.
void ReportedNothing(benchmark::State& state) {
  const EmptyModel model;
  RunnerConfig config;
  config.loop = 1000;
  CompareTimes(
      state, 1, 1.35, [&] { return Report(config, model.Id(), RunTask::Run); },
      [&] { return Report(config, model.Id(), ReadClockTwice); });
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

// One iteration of the measuring loop, with its span; target: at most 1.2 times two reads, an
// insertion, the bound's test and a span.
void LoopIteration(benchmark::State& state) {
  const EmptyModel model;
  RunManager manager;
  Require(manager.Init(0) == 0);
  RunnerConfig config;
  config.loop = 1000;
  RunInfo info;
  info.modelId = model.Id();
  Compare(
      state, config.loop, 1.2, [&] { Require(manager.Process(config, info) == 0); },
      [&] { MeasurePlainly(config); });
  manager.Finalize();
}

BENCHMARK(LoopIteration)->Iterations(ROUNDS);

// The same for a call that asks for the time of each execution; target: at most 1.25 times one that
// does not.
void LoopIterationInDetail(benchmark::State& state) {
  const EmptyModel model;
  RunManager manager;
  Require(manager.Init(0) == 0);
  RunnerConfig config;
  config.loop = 1000;
  RunInfo info;
  info.modelId = model.Id();
  const auto measure = [&] { Require(manager.Process(config, info) == 0); };
  const auto measureInDetail = [&] {
    RunWatch watch;
    char reason[CallContext::REASON_SIZE];
    const CallContext call(watch, reason);
    measure();
    Require(watch.wallTimes.size() == config.loop);
  };
  Compare(state, config.loop, 1.25, measureInDetail, measure);
  manager.Finalize();
}

BENCHMARK(LoopIterationInDetail)->Iterations(ROUNDS);

}  // namespace
}  // namespace Ormo::Bench
