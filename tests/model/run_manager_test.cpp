#include "model/run_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "model/model_manager.h"
#include "ormo/status.h"
#include "ormo_host/control.h"
#include "support/log_capture.h"

namespace Ormo::Testing {
namespace {

// One input and one output of 2 x 4 floats, or of a batch to be set before each execution.
constexpr char FIXED_GRAPH[] = R"({"format": "ox-graph", "version": 1, "name": "fixed", "nodes": [
  {"name": "x", "type": "Data", "outputs": [{"shape": [2, 4], "dtype": "float32"}]},
  {"name": "y", "type": "Relu", "inputs": ["x"], "outputs": [{"shape": [2, 4], "dtype": "float32"}]}
]})";
constexpr char BATCH_GRAPH[] = R"({"format": "ox-graph", "version": 1, "name": "batch",
  "dynamic": {"batch": [1, 8]}, "nodes": [
  {"name": "x", "type": "Data", "outputs": [{"shape": [-1, 4], "dtype": "float32"}]},
  {"name": "y", "type": "Relu", "inputs": ["x"], "outputs": [{"shape": [-1, 4], "dtype": "float32"}]}
]})";
constexpr size_t FIXED_SIZE = 8 * sizeof(float);

class RunManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    OrmoHost::Reset();
    ASSERT_EQ(zelInit(""), 0);
    ASSERT_EQ(manager_.Init(0), STATUS_SUCCESS);
  }

  void TearDown() override {
    if (info_.modelId != 0) {
      ModelManager::UnloadModel(info_.modelId);
    }
    manager_.Finalize();
    zelFinalize();
    EXPECT_EQ(OrmoHost::Alive().ToString(), "");
    OrmoHost::Reset();
  }

  void Load(const std::string& graph) {
    ModelInfo model;
    model.modelData.data = const_cast<char*>(graph.data());
    model.modelData.size = graph.size();
    ASSERT_EQ(ModelManager::LoadModel(model, manager_.GetSocVersion()), STATUS_SUCCESS);
    info_.modelId = model.modelId;
  }

  int Process() { return manager_.Process(config_, info_); }

  static OrmoDataInfo Buffer(std::vector<float>& values) {
    OrmoDataInfo buffer;
    buffer.data = values.data();
    buffer.size = values.size() * sizeof(float);
    return buffer;
  }

  RunManager manager_;
  RunnerConfig config_;
  RunInfo info_;
};

TEST_F(RunManagerTest, BuffersThatDoNotFitTheModelAreRefusedByName) {
  using Buffers = std::vector<OrmoDataInfo>;
  std::vector<float> values(8);
  int64_t shape[] = {2, 4};
  OrmoDataInfo right = Buffer(values);
  OrmoDataInfo empty = right;
  empty.size = 0;
  OrmoDataInfo small = right;
  small.size -= 4;
  OrmoDataInfo halfShape = right;
  halfShape.dims = shape;
  const std::tuple<Buffers, Buffers, const char*> cases[] = {
      {{right, right}, {}, "The number of input 2 is not equal to model input num 1"},
      {{empty}, {}, "Invalid input[0] size : 0 byte(s)"},
      {{small}, {}, "Invalid input[0] size: 28 byte(s), but expect size: 32 byte(s)"},
      {{}, {right, right}, "The number of output 2 is not equal to model output num 1"},
      {{}, {empty}, "Invalid output[0] size : 0 byte(s)"},
  };
  Load(FIXED_GRAPH);
  for (const auto& [inputs, outputs, message] : cases) {
    SCOPED_TRACE(message);
    LogCapture log(DLOG_ERROR);
    config_.inputs = inputs;
    config_.outputs = outputs;
    EXPECT_EQ(Process(), STATUS_FAILED);
    EXPECT_TRUE(log.Contains(DLOG_ERROR, message));
    EXPECT_TRUE(log.Contains(DLOG_ERROR, "Invalid run config"));
  }
  config_.inputs = {halfShape};
  config_.outputs.clear();
  EXPECT_EQ(Process(), STATUS_SUCCESS) << "a shape without entries is no shape to compare with";
}

TEST_F(RunManagerTest, InputsGoInAndOutputsComeBack) {
  Load(FIXED_GRAPH);
  std::vector<float> input = {-1, 2, -3, 4, 5, -6, 7, -8};
  std::vector<float> output(8, -1);
  config_.inputs = {Buffer(input)};
  config_.outputs = {Buffer(output)};
  EXPECT_EQ(Process(), STATUS_SUCCESS);
  EXPECT_THAT(output, ::testing::ElementsAre(0, 2, 0, 4, 5, 0, 7, 0));

  config_.inputs[0].data = nullptr;
  EXPECT_EQ(Process(), STATUS_SUCCESS);
  EXPECT_THAT(output, ::testing::Each(0));
}

TEST_F(RunManagerTest, OutputsReplaceTheStatusOfAHitBound) {
  Load(FIXED_GRAPH);
  config_.runTimeBound = 0;
  EXPECT_EQ(Process(), STATUS_OUT_OF_BOUND);
  std::vector<float> output(8, -1);
  config_.outputs = {Buffer(output)};
  EXPECT_EQ(Process(), STATUS_SUCCESS);
  config_.outputs[0].data = nullptr;
  EXPECT_EQ(Process(), STATUS_OUT_OF_BOUND) << "nothing is copied without a place for every output";
}

TEST_F(RunManagerTest, DynamicSettingsAreCheckedBeforeEachExecution) {
  constexpr int REFUSED = STATUS_DYNAMIC_PARAM_FAILED;
  const std::string notSet = "set input dynamic param failed.";
  std::string many = "1";
  for (int i = 1; i < 129; ++i) {
    many += ",1";
  }
  const std::tuple<std::string, std::string, int, std::string> cases[] = {
      {"dynamic_batch_size", "8", STATUS_SUCCESS, ""},
      {"dynamic_batch_size", "eight", REFUSED, "invalid dynamic_batch_size param."},
      {"dynamic_batch_size", "3", REFUSED, notSet},
      {"dynamic_image_size", "224", REFUSED, "invalid dynamic_image_size param."},
      {"dynamic_image_size", "1,2,3", REFUSED, "invalid dynamic_image_size param."},
      {"dynamic_image_size", "224,224", REFUSED, notSet},
      {"dynamic_dims", many, REFUSED, "invalid dynamic_dims param."},
      {"dynamic_dims", many.substr(2), REFUSED, notSet},
      // Nothing is set, which a model with settings does not execute without.
      {"dynamic_colour", "8", STATUS_EXECUTE_FAILED, "Execute model failed"},
      {"", "8", STATUS_EXECUTE_FAILED, "Execute model failed"},
  };
  Load(BATCH_GRAPH);
  for (const auto& [type, param, status, message] : cases) {
    SCOPED_TRACE(::testing::Message() << type << " " << param);
    LogCapture log(DLOG_ERROR);
    config_.dynamicType = type;
    config_.dynamicParam = param;
    EXPECT_EQ(Process(), status);
    EXPECT_EQ(message.empty(), log.Lines().empty());
    EXPECT_TRUE(message.empty() || log.Contains(DLOG_ERROR, message));
  }
}

TEST_F(RunManagerTest, AModelWithoutSettingsRefusesEvenAnUnknownOne) {
  Load(FIXED_GRAPH);
  config_.dynamicType = "dynamic_colour";
  EXPECT_EQ(Process(), STATUS_DYNAMIC_PARAM_FAILED);
}

TEST_F(RunManagerTest, CallersOutputsCountAgainstTheInputsOnlyOnChipsWithDdr) {
  Load(FIXED_GRAPH);
  std::vector<float> input(8);
  std::vector<float> output(8);
  config_.inputs = {Buffer(input)};
  config_.outputs = {Buffer(output)};
  for (const auto& [chip, extra] :
       {std::pair("TarnSpring1", FIXED_SIZE), {"TarnLake1", size_t{0}}}) {
    SCOPED_TRACE(chip);
    OrmoHost::SetSocName(chip);
    RunManager manager;
    ASSERT_EQ(manager.Init(0), STATUS_SUCCESS);
    LogCapture log;
    EXPECT_EQ(manager.Process(config_, info_), STATUS_SUCCESS);
    EXPECT_TRUE(log.Contains(
        DLOG_DEBUG, "Need extra output dataset size : " + std::to_string(extra) + " byte(s)"));
    manager.Finalize();
  }
}

}  // namespace
}  // namespace Ormo::Testing
