// Measurements through the entry points, beside what is known of them.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "compare.h"
#include "execution_clock.h"
#include "ormo/ormo_runner.h"
#include "plain_model.h"
#include "spin_models.h"

namespace Ormo::Bench {
namespace {

// Measures without waiting for an idle pipe, with the offline runner initialised in between.
class Runner {
 public:
  Runner() {
    setenv("ORMO_PROF_END", "close", 1);  // NOLINT(concurrency-mt-unsafe): the only thread
    Require(OrmoOfflineRunnerInit({}) == 0);
  }

  ~Runner() { OrmoOfflineRunnerFinalize(); }

  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;
};

RunnerConfig Request(std::string& image, bool prof, uint32_t loop) {
  RunnerConfig config;
  config.modelData.data = image.data();
  config.modelData.size = image.size();
  config.prof = prof;
  config.loop = loop;
  return config;
}

double Measure(RunnerConfig& config) {
  RunnerResult result;
  Require(OrmoOfflineRun(config, result) == 0);
  return static_cast<double>(result.totalCostTime);
}

double Microseconds(double nanoseconds) {
  return nanoseconds / 1000;
}

// --- Reported cost

// The reported cost of a Spin operator beside the interval that the host's clock reads around it;
// target: off by at most 1 % and 0.2 us.
void ReportedSpin(benchmark::State& state) {
  const Runner runner;
  std::string image = SpinModelImage(state.range(0));
  RunnerConfig config = Request(image, state.range(1) != 0, 10);
  std::vector<double> reported;
  std::vector<double> read;
  std::vector<double> off;
  for (auto _ : state) {
    TakeExecutionTimes();
    reported.push_back(Measure(config));
    read.push_back(TrimmedMean(TakeExecutionTimes()));
    off.push_back(std::abs(reported.back() - read.back()));
  }
  state.counters["ns"] = Quantile(reported, 0.5);
  state.counters["floor_ns"] = Quantile(read, 0.5);
  Judge(state, "off_ns", Quantile(off, 0.5), 0.01 * Quantile(read, 0.5) + 200);
}

BENCHMARK(ReportedSpin)
    ->ArgNames({"ns", "prof"})
    ->ArgsProduct({{10000, 100000, 1000000}, {0, 1}})
    ->Iterations(50);

// --- Cost of measuring

// A profiled measurement beside one by wall clock, loop 10; target: at most 1 ms more.
void ProfiledMeasurement(benchmark::State& state) {
  const Runner runner;
  std::string image = SpinModelImage(state.range(0));
  RunnerConfig profiled = Request(image, true, 10);
  RunnerConfig wall = Request(image, false, 10);
  const Medians medians = TakeMedians(
      state, 1, [&] { return NanosecondsOf([&] { Measure(profiled); }); },
      [&] { return NanosecondsOf([&] { Measure(wall); }); });
  Judge(state, "more_us", Microseconds(medians.subject - medians.floor), 1000);
}

BENCHMARK(ProfiledMeasurement)->ArgName("ns")->Arg(0)->Arg(100000)->Iterations(301)->UseRealTime();

void LoadRunUnload(const OrmoDataInfo& image) {
  uint32_t modelId = 0;
  Require(OrmoOfflineLoadFromMem(image, modelId) == 0);
  RunnerConfig config;
  RunnerResult result;
  Require(OrmoOfflineRunModel(modelId, config, result) == 0);
  OrmoOfflineUnloadModel(modelId);
}

// Load, one run and unload of an empty model, in one call or in three, beside the platform calls;
// target: at most 60 us more.
void EmptyMeasurement(benchmark::State& state) {
  const Runner runner;
  const PlainDevice device;
  std::string image = SpinModelImage(0);
  RunnerConfig config = Request(image, false, 1);
  const bool inOneCall = state.range(0) == 1;
  const auto measure = [&] {
    if (inOneCall) {
      Measure(config);
    } else {
      LoadRunUnload(config.modelData);
    }
  };
  const Medians medians = TakeMedians(
      state, 1, [&] { return NanosecondsOf(measure); },
      [&] { return NanosecondsOf([&] { PlainModel(image).Execute(); }); });
  Judge(state, "more_us", Microseconds(medians.subject - medians.floor), 60);
}

BENCHMARK(EmptyMeasurement)->ArgName("calls")->Arg(1)->Arg(3)->Iterations(301)->UseRealTime();

// --- Candidates

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  Require(file.good());
  return {std::istreambuf_iterator<char>(file), {}};
}

// The names with their times, cheapest first.
std::string Order(const std::map<std::string, std::vector<double>>& times) {
  std::map<double, std::string> byTime;
  for (const auto& [name, samples] : times) {
    byTime[Quantile(samples, 0.5)] = name;
  }
  std::string order;
  for (const auto& [time, name] : byTime) {
    order += " " + name + " " + std::to_string(std::lround(Microseconds(time))) + " us";
  }
  return order;
}

// Builds of one network: their order as reported, and as timed with platform calls.
void CandidateOrder(benchmark::State& state) {
  const bool prof = state.range(0) != 0;
  const Runner runner;
  const PlainDevice device;
  std::map<std::string, std::vector<double>> reported;
  std::map<std::string, std::vector<double>> timed;
  for (auto _ : state) {
    for (const std::string name : {"tile-0", "tile-8", "tile-16", "tile-64"}) {
      std::string image = ReadFile(std::string(ORMO_EXAMPLES) + "/perceptron/" + name + ".json");
      timed[name].push_back(PlainModel(image).Measure(10));
      RunnerConfig config = Request(image, prof, 10);
      reported[name].push_back(Measure(config));
    }
  }
  state.SetLabel("reported:" + Order(reported) + "; timed:" + Order(timed));
}

BENCHMARK(CandidateOrder)->ArgName("prof")->Arg(0)->Arg(1)->Iterations(15);

}  // namespace
}  // namespace Ormo::Bench
