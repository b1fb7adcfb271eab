#include <unistd.h>

#include <array>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "support/graph_text.h"
#include "support/log_capture.h"
#include "support/matchers.h"
#include "support/offline_test.h"
#include "support/open_descriptors.h"

namespace Ormo::Testing {
namespace {

constexpr size_t CALLERS = 16;
constexpr size_t ROUNDS = 5;
constexpr size_t ELEMENTS = 16;

// One caller's work: every model has its own number of operators and adds its own number, so that a
// result that belongs to another caller is seen.
class Caller {
 public:
  explicit Caller(size_t number) : operators_(number + 1), addend_(static_cast<float>(number)) {}

  void Work() {
    for (size_t round = 0; round < ROUNDS; ++round) {
      uint32_t modelId = 0;
      EXPECT_EQ(OrmoOfflineLoadFromMem(AsBuffer(graph_), modelId), STATUS_SUCCESS);
      Measure([&](RunnerConfig& config) { return OrmoOfflineRunModel(modelId, config, result_); });
      OrmoOfflineUnloadModel(modelId);
      Measure([&](RunnerConfig& config) { return OrmoOfflineRun(config, result_); });
    }
  }

 private:
  template <typename Run>
  void Measure(Run run) {
    for (const bool prof : {false, true}) {
      std::vector<float> output(ELEMENTS, -1);
      RunnerConfig config = MakeConfig(graph_, prof, 2);
      config.inputs = {AsBuffer(input_)};
      config.outputs = {AsBuffer(output)};
      EXPECT_EQ(run(config), STATUS_SUCCESS);
      EXPECT_THAT(output, Each(addend_ * static_cast<float>(operators_) + 1));
      EXPECT_THAT(result_.opCostTimes, SizeIs(prof ? operators_ : 0));
      EXPECT_GE(result_.runCostTime, result_.totalCostTime);
    }
  }

  size_t operators_;
  float addend_;
  const std::string graph_ = AddGraph(ELEMENTS, addend_, operators_);
  const std::vector<float> input_ = std::vector<float>(ELEMENTS, 1);
  RunnerResult result_;
};

class CallersTest : public OfflineTest {
 protected:
  // Runs `action` on the worker of a device.
  void OnWorker(uint32_t device, const std::function<void()>& action) {
    RunInfo info;
    info.deviceId = device;
    OfflineTask task = [&action](auto&, auto&, auto&, auto) {
      action();
      return 0;
    };
    EXPECT_EQ(OrmoOfflineRunProcess(config_, info, result_, task), STATUS_SUCCESS);
  }

  const std::string graph_ = AddGraph(1, 1);
  RunnerConfig config_ = MakeConfig(graph_, true);
  RunnerResult result_;
};

TEST_F(CallersTest, AModelRunsAndGoesOnTheWorkerThatWasFreeToLoadIt) {
  OrmoHost::SetDeviceCount(2);
  Init({0, 1});
  for (const uint32_t device : {0U, 1U}) {
    int worker = 0;
    OnWorker(device, [&worker] { worker = gettid(); });
    OrmoHost::RecordCalls();
    uint32_t model = 0;
    OnWorker(1 - device, [&] {
      model = std::async(std::launch::async, [this] { return Load(graph_); }).get();
    });
    EXPECT_EQ(OrmoOfflineRunModel(model, config_, result_), STATUS_SUCCESS);
    OrmoOfflineUnloadModel(model);
    EXPECT_EQ(OrmoHost::CallCount("zelmdlUnload"), 1U);
    for (const OrmoHost::Call& call : OrmoHost::Calls()) {
      EXPECT_TRUE(call.thread == worker || call.function.find("zelmdl") != 0) << call.function;
    }
  }
}

TEST_F(CallersTest, AModelIsKnownFromItsLoadToItsUnloadOrTheRunnersEnd) {
  Init();
  std::array<uint32_t, 3> models = {Load(graph_), Load(graph_), Load(graph_)};
  const LogCapture log(DLOG_ERROR);
  OrmoOfflineUnloadModel(models[0]);
  OrmoHost::Throw("zelmdlUnload", 1);
  EXPECT_THROW(OrmoOfflineUnloadModel(models[1]), std::runtime_error);
  EXPECT_EQ(OrmoHost::Alive().models, 1U);
  OrmoOfflineUnloadModel(models[1]);
  result_ = MakeStaleResult();
  EXPECT_EQ(OrmoOfflineRunModel(models[0], config_, result_), STATUS_INVALID_PARAM);
  EXPECT_THAT(result_.opCostTimes, ElementsAre(Key("stale")));
  OrmoOfflineUnloadModel(models[1]);
  OrmoOfflineUnloadModel(models[2] + 1);
  OrmoOfflineRunnerFinalize();
  Init();
  EXPECT_EQ(OrmoOfflineRunModel(models[2], config_, result_), STATUS_INVALID_PARAM);
  const auto unknown = [](uint32_t model) {
    return "Model " + std::to_string(model) + " has not found in device map";
  };
  EXPECT_THAT(
      log.Messages(),
      ElementsAre(StartsWith("Unload model failed, model id " + std::to_string(models[1]) + ","),
                  unknown(models[0]), "Offline runner model has not found device.",
                  unknown(models[1]), "Offline runner model has not found", unknown(models[2] + 1),
                  "Offline runner model has not found", unknown(models[2]),
                  "Offline runner model has not found device."));
  OrmoOfflineRunnerFinalize();
  OrmoHost::Reset();  // the last model went with the platform
}

TEST_F(CallersTest, AOneShotRunOfAFileUnloadsItHoweverItEnds) {
  WriteFile(directory_ / "model", graph_);
  config_.modelPath = directory_ / "model";
  config_.modelData = {};
  Init();
  for (const bool prof : {false, true}) {
    config_.prof = prof;
    OrmoHost::RecordCalls();
    EXPECT_EQ(OrmoOfflineRun(config_, result_), STATUS_SUCCESS);
    OrmoHost::Fail(prof ? "zelprofModelUnSubscribe" : "zelmdlExecute", 1, 1);
    EXPECT_EQ(OrmoOfflineRun(config_, result_), prof ? STATUS_FAILED : STATUS_EXECUTE_FAILED);
    ExpectReset(result_);
    result_ = MakeStaleResult();
    OrmoHost::Throw("zelmdlExecute", 1);
    EXPECT_THROW(OrmoOfflineRun(config_, result_), std::runtime_error);
    ExpectReset(result_);
    EXPECT_EQ(OrmoHost::CallCount("zelmdlLoadFromFile"), 3U);
    EXPECT_EQ(OrmoHost::CallCount("zelmdlUnload"), 3U);
  }
}

TEST_F(CallersTest, SixteenCallersOnFourDevicesDoNotDisturbEachOther) {
  OrmoHost::SetDeviceCount(4);
  Init({0, 1, 2, 3});
  const auto descriptors = OpenDescriptors();
  std::vector<std::thread> threads;
  for (size_t number = 0; number < CALLERS; ++number) {
    threads.emplace_back([number] { Caller(number).Work(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(OrmoHost::Alive().models, 0U);
  EXPECT_EQ(OrmoHost::Alive().deviceBytes, 0U);
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

}  // namespace
}  // namespace Ormo::Testing
