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

// A thousand iterations of the measuring loop over an empty model.
class EmptyLoop {
 public:
  static constexpr uint32_t LOOP = 1000;

  EmptyLoop() {
    Require(manager_.Init(0) == 0);
    config_.loop = LOOP;
    info_.modelId = model_.Id();
  }

  ~EmptyLoop() { manager_.Finalize(); }

  EmptyLoop(const EmptyLoop&) = delete;
  EmptyLoop& operator=(const EmptyLoop&) = delete;

  const RunnerConfig& Config() const { return config_; }

  void Measure() { Require(manager_.Process(config_, info_) == 0); }

 private:
  EmptyModel model_;
  RunManager manager_;
  RunnerConfig config_;
  RunInfo info_;
};

// One iteration of the measuring loop, with its span; target: at most 1.2 times two reads, an
// insertion, the bound's test and a span.
void LoopIteration(benchmark::State& state) {
  EmptyLoop loop;
  Compare(
      state, EmptyLoop::LOOP, 1.2, [&] { loop.Measure(); }, [&] { MeasurePlainly(loop.Config()); });
}

BENCHMARK(LoopIteration)->Iterations(ROUNDS);

// The same for a call that asks for the time of each execution; target: at most 1.25 times one that
// does not.
void LoopIterationInDetail(benchmark::State& state) {
  EmptyLoop loop;
  const auto measureInDetail = [&] {
    RunWatch watch;
    char reason[CallContext::REASON_SIZE];
    const CallContext call(watch, reason);
    loop.Measure();
    Require(watch.wallTimes.size() == EmptyLoop::LOOP);
  };
  Compare(state, EmptyLoop::LOOP, 1.25, measureInDetail, [&] { loop.Measure(); });
}

BENCHMARK(LoopIterationInDetail)->Iterations(ROUNDS);

}  // namespace
}  // namespace Ormo::Bench
