// Graphs in a session: what the runner adds to the loop, and how fast inputs are made.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "compare.h"
#include "online/input_generator.h"
#include "ormo/ormo_runner.h"
#include "ox/graph_utils.h"
#include "ox/session.h"
#include "zel/zel_prof.h"

namespace Ormo::Bench {
namespace {

constexpr int ROUNDS = 31;

std::shared_ptr<ox::OpDesc> MakeDesc(const std::vector<int64_t>& shape) {
  auto desc = std::make_shared<ox::OpDesc>();
  desc->SetOutputDesc({ox::OxShape(shape), ox::FORMAT_ND, ox::DT_FLOAT});
  return desc;
}

// --- The loop

constexpr uint32_t LOOP = 1000;

// One operator that is busy for no time.
ox::Graph MakeEmptyGraph() {
  const auto desc = MakeDesc({1});
  desc->SetAttr("ns", int64_t{0});
  const std::vector<std::shared_ptr<ox::Node>> nodes = {
      std::make_shared<ox::Node>("spin", "Spin", desc)};
  return ox::Graph(std::make_shared<ox::ComputeGraph>(nodes));
}

// From one start to the next.
double MedianInterval(const std::vector<uint64_t>& starts) {
  std::vector<double> intervals;
  for (size_t i = 1; i < starts.size(); ++i) {
    intervals.push_back(static_cast<double>(starts[i] - starts[i - 1]));
  }
  return Quantile(intervals, 0.5);
}

double MeasureLoop(ox::Session& session, const ox::Graph& graph) {
  RunnerConfig config;
  config.session = &session;
  config.prof = true;
  config.loop = LOOP;
  std::vector<RunnerRunResult> results;
  Require(OrmoOnlineRun(graph, config, results) == 0 && results.size() == LOOP);
  std::vector<uint64_t> starts;
  starts.reserve(results.size());
  for (const RunnerRunResult& result : results) {
    starts.push_back(result.opInfos.at(0).startTime);
  }
  return MedianInterval(starts);
}

// Records that are read and forgotten.
class DrainedSubscription {
 public:
  explicit DrainedSubscription(uint32_t graphId) : graphId_(graphId) {
    Require(pipe2(pipe_.data(), O_CLOEXEC) == 0);
    config_ = zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &pipe_[1]);
    Require(zelgrphProfGraphSubscribe(graphId_, config_) == 0);
    close(pipe_[1]);
    reader_ = std::thread([this] {
      std::array<char, 65536> forgotten{};
      while (read(pipe_[0], forgotten.data(), forgotten.size()) > 0) {
      }
    });
  }

  ~DrainedSubscription() {
    Require(zelgrphProfGraphUnSubscribe(graphId_) == 0);
    Require(zelprofDestroySubscribeConfig(config_) == 0);
    reader_.join();
    close(pipe_[0]);
  }

  DrainedSubscription(const DrainedSubscription&) = delete;
  DrainedSubscription& operator=(const DrainedSubscription&) = delete;

 private:
  uint32_t graphId_;
  std::array<int32_t, 2> pipe_ = {-1, -1};
  zelprofSubscribeConfig* config_;
  std::thread reader_;
};

double RunBareLoop(ox::Session& session, const ox::Graph& graph) {
  constexpr uint32_t GRAPH_ID = 1;
  Require(session.AddGraph(GRAPH_ID, graph, {}) == 0);
  std::vector<uint64_t> starts;
  {
    const DrainedSubscription subscription(GRAPH_ID);
    for (uint32_t i = 0; i < LOOP; ++i) {
      starts.push_back(RawClock());
      auto done = std::make_shared<std::promise<uint32_t>>();
      std::future<uint32_t> status = done->get_future();
      Require(session.RunGraphAsync(GRAPH_ID, {},
                                    [done](uint32_t code, std::vector<ox::Tensor>& /*outputs*/) {
                                      done->set_value(code);
                                    }) == 0);
      Require(status.get() == 0);
    }
  }
  Require(session.RemoveGraph(GRAPH_ID) == 0);
  return MedianInterval(starts);
}

// Target: at most 10 us more than a bare loop of round trips.
void LoopOverEmptyGraph(benchmark::State& state) {
  setenv("ORMO_PROF_END", "close", 1);  // NOLINT(concurrency-mt-unsafe): the only thread
  Require(OrmoOnlineRunnerInit({{0}}) == 0);
  {
    ox::Session session;
    const ox::Graph graph = MakeEmptyGraph();
    const Medians medians = TakeMedians(
        state, 1, [&] { return MeasureLoop(session, graph); },
        [&] { return RunBareLoop(session, graph); });
    constexpr double TARGET_NS = 10000;
    Judge(state, "added_ns", medians.subject - medians.floor, TARGET_NS);
  }
  OrmoOnlineRunnerFinalize();
}

BENCHMARK(LoopOverEmptyGraph)->Iterations(ROUNDS)->UseRealTime();

// --- Inputs

constexpr size_t INPUTS = 4;
constexpr size_t INPUT_BYTES = size_t{64} << 20;

ox::Graph MakeGraphOfInputs() {
  const ox::OxTensorDesc input(ox::OxShape({INPUT_BYTES / sizeof(float)}), ox::FORMAT_ND,
                               ox::DT_FLOAT);
  std::vector<std::shared_ptr<ox::Node>> nodes;
  for (size_t i = 0; i < INPUTS; ++i) {
    auto desc = std::make_shared<ox::OpDesc>();
    desc->AddInputDesc(input);
    nodes.push_back(std::make_shared<ox::Node>("data" + std::to_string(i), "Data", desc));
  }
  return ox::Graph(std::make_shared<ox::ComputeGraph>(nodes));
}

// 256 MiB of inputs; target: at most 2 times a memset and a copy of as much, between buffers that
// are there already.
void GenerateInputs(benchmark::State& state) {
  const ox::Graph graph = MakeGraphOfInputs();
  std::vector<uint8_t> from(INPUTS * INPUT_BYTES);
  std::vector<uint8_t> to(INPUTS * INPUT_BYTES);
  const auto generate = [&] {
    std::vector<ox::Tensor> inputs;
    return NanosecondsOf([&] { Require(GenerateInput(graph, inputs) == 0); });
  };
  const auto setAndCopy = [&] {
    return NanosecondsOf([&] {
      std::memset(from.data(), 0x3F, from.size());
      benchmark::DoNotOptimize(from.data());
      std::memcpy(to.data(), from.data(), to.size());
      benchmark::DoNotOptimize(to.data());
    });
  };
  CompareTimes(state, 1, 2, generate, setAndCopy);
}

BENCHMARK(GenerateInputs)->Iterations(ROUNDS)->UseRealTime();

}  // namespace
}  // namespace Ormo::Bench
