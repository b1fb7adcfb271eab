#include "faults/works.h"

#include <vector>

#include "ormo/ormo_runner_detail.h"
#include "support/graph_text.h"
#include "support/offline_test.h"

namespace Ormo::Testing {
namespace {

// Few enough for ordinary pages, and enough for huge ones.
constexpr size_t SMALL = 8;
constexpr size_t MEDIUM = 2048;

constexpr size_t OPERATORS = 2;

const std::string SMALL_GRAPH = AddGraph(SMALL, 1, OPERATORS);
const std::string MEDIUM_GRAPH = AddGraph(MEDIUM, 1, OPERATORS);
const std::string BATCH_GRAPH =
    R"({"format": "ox-graph", "version": 1, "name": "batch", "dynamic": {"batch": [1, 4]}, "nodes": [)"
    R"({"name": "data", "type": "Data", "outputs": [{"shape": [-1, 2], "dtype": "float32"}]},)"
    R"({"name": "relu", "type": "Relu", "inputs": ["data"],)"
    R"( "outputs": [{"shape": [-1, 2], "dtype": "float32"}]}]})";

// A result is whole or it is empty, whatever stood there. No matchers: they leak when the
// allocation that is made to fail is theirs.
int Check(int status, const RunnerConfig& config, const RunnerResult& result) {
  if (status != STATUS_SUCCESS) {
    ExpectReset(result);
  } else {
    EXPECT_NE(result.totalCostTime, 0U);
    EXPECT_NE(result.runCostTime, 0U);
    EXPECT_EQ(result.opCostTimes.size(), config.prof ? OPERATORS : 0);
    EXPECT_EQ(result.aicoreCostTimes.size(), config.prof ? OPERATORS : 0);
  }
  return status;
}

// A request with the caller's buffers.
class Request {
 public:
  explicit Request(bool prof) : config_(MakeConfig("", prof)) {
    config_.inputs = {AsBuffer(input_)};
    config_.inputs[0].dims = dims_;
    config_.inputs[0].dimNum = 1;
    config_.outputs = {AsBuffer(output_)};
  }

  int RunAndUnload(uint32_t modelId) {
    int status = STATUS_FAILED;
    try {
      status = OrmoOfflineRunModel(modelId, config_, result_);
    } catch (...) {
      OrmoOfflineUnloadModel(modelId);
      throw;
    }
    OrmoOfflineUnloadModel(modelId);
    return Check(status, config_, result_);
  }

 private:
  int64_t dims_[1] = {SMALL};
  std::vector<float> input_ = std::vector<float>(SMALL, 1);
  std::vector<float> output_ = std::vector<float>(SMALL);
  RunnerConfig config_;
  RunnerResult result_ = MakeStaleResult();
};

int RunOnce(RunnerConfig config) {
  RunnerResult result = MakeStaleResult();
  return Check(OrmoOfflineRun(config, result), config, result);
}

}  // namespace

int RunLoadedFile(const std::string& path) {
  Request request(false);
  uint32_t modelId = 0;
  const int status = OrmoOfflineLoadFromFile(path, modelId);
  return status == STATUS_SUCCESS ? request.RunAndUnload(modelId) : status;
}

int RunLoadedImageProfiled() {
  Request request(true);
  uint32_t modelId = 0;
  const int status = OrmoOfflineLoadFromMem(AsBuffer(SMALL_GRAPH), modelId);
  return status == STATUS_SUCCESS ? request.RunAndUnload(modelId) : status;
}

int RunOnceProfiled() {
  return RunOnce(MakeConfig(SMALL_GRAPH, true));
}

int RunOnceDetailed() {
  const CancelToken token;
  RunRequest request;
  request.cancelToken = &token;
  RunDetail detail;
  detail.reason = "stale";
  RunnerConfig config = MakeConfig(SMALL_GRAPH, true);
  RunnerResult result = MakeStaleResult();
  const int status = Check(OrmoOfflineRunDetailed(config, request, result, detail), config, result);
  EXPECT_EQ(detail.reason.empty(), status == STATUS_SUCCESS);
  EXPECT_EQ(detail.executions.size(), status == STATUS_SUCCESS ? 1 : detail.executions.size());
  return status;
}

int RunOnceInOwnMemory() {
  RunnerConfig config = MakeConfig(MEDIUM_GRAPH, false);
  config.runMode = RunMode::PREVIOUS_MEMORY;
  return RunOnce(std::move(config));
}

int RunOnceWithBatch() {
  RunnerConfig config = MakeConfig(BATCH_GRAPH, false);
  config.runMode = RunMode::NO_MEMORY_CHECK;
  config.dynamicType = "dynamic_batch_size";
  config.dynamicParam = "4";
  return RunOnce(std::move(config));
}

int RunOnce() {
  return RunOnce(MakeConfig(SMALL_GRAPH, false));
}

int DescribeLoaded() {
  ModelInfo model;
  model.modelData = AsBuffer(BATCH_GRAPH);
  OfflineModelInfo info;
  info.deviceId = 4711;
  info.inputNames = {"stale"};
  int status = OrmoOfflineLoadOnDevice(model, 1);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  try {
    status = OrmoOfflineGetModelInfo(model.modelId, info);
  } catch (...) {
    EXPECT_TRUE(info.deviceId == ANY_DEVICE_ID && info.inputNames.empty());
    OrmoOfflineUnloadModel(model.modelId);
    throw;
  }
  EXPECT_EQ(info.deviceId, status == STATUS_SUCCESS ? 1 : ANY_DEVICE_ID);
  EXPECT_TRUE(info.inputNames.empty() ||
              (status == STATUS_SUCCESS && info.inputNames.size() == info.inputSizes.size()));
  OrmoOfflineUnloadModel(model.modelId);
  return status;
}

}  // namespace Ormo::Testing
