// What a tuner can learn of a loaded model before it runs it.
#include <algorithm>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "ormo/ormo_runner_detail.h"
#include "support/child_process.h"
#include "support/graph_text.h"
#include "support/model_info_text.h"
#include "support/offline_test.h"

namespace Ormo::Testing {
namespace {

// Two inputs and two outputs, of which nothing is computed.
std::string Pair(const std::vector<int64_t>& a, const std::vector<int64_t>& b,
                 const std::string& rest = "") {
  return Graph(
      {Node("a", "Data", "", a), Node("b", "Data", "", b),
       Node("y", "Spin", "\"a\"", a, "\"ns\": 0"), Node("z", "Spin", "\"b\"", b, "\"ns\": 0")},
      rest);
}

// The same of another element type.
std::string WithType(std::string graph, const std::string& type) {
  const std::string usual = "float32";
  for (size_t at = 0; (at = graph.find(usual, at)) != std::string::npos;) {
    graph.replace(at, usual.size(), type);
  }
  return graph;
}

class ModelInfoTest : public OfflineTest {
 protected:
  // Buffers of the sizes that the model is said to have; of those that it does not know, with a
  // shape.
  static void RunAsTold(uint32_t modelId, const OfflineModelInfo& info, const std::string& param) {
    std::vector<std::string> bytes;
    int64_t dims[] = {4, 2};
    const auto makeBuffers = [&](const std::vector<uint64_t>& sizes) {
      std::vector<OrmoDataInfo> buffers;
      for (const uint64_t size : sizes) {
        bytes.emplace_back(size == 0 ? sizeof(float) * 8 : size, '\0');
        buffers.push_back(AsBuffer(bytes.back()));
        buffers.back().dims = size == 0 ? dims : nullptr;
        buffers.back().dimNum = size == 0 ? 2 : 0;
      }
      return buffers;
    };
    bytes.reserve(info.inputSizes.size() + info.outputSizes.size());
    RunnerConfig config;
    config.inputs = makeBuffers(info.inputSizes);
    config.outputs = makeBuffers(info.outputSizes);
    config.dynamicType = info.dynamicType;
    config.dynamicParam = param;
    RunnerResult result;
    EXPECT_EQ(OrmoOfflineRunModel(modelId, config, result), STATUS_SUCCESS) << param;
  }

  OfflineModelInfo info_;
};

TEST_F(ModelInfoTest, IsWhatWasDeclaredAndWhatARunWants) {
  const std::string setting = "tarn_mbatch_shape_data";
  const std::tuple<std::string, std::string> models[] = {
      {AddRelu({4, 2}), "in 32 x 0 [ 4 2 ]; out 32 y 0 [ 4 2 ]; known ; work 64 weights 64"},
      {AddRelu({-1, 2}), "in 0 x 0 [ -1 2 ]; out 0 y 0 [ -1 2 ]; known ; work 0 weights 64"},
      {AddRelu({-1, 2}, R"("dynamic": {"batch": [1, 32]})"),
       "in 256 8 x " + setting +
           " 0 9 [ -1 2 ] [ 1 ]; out 256 y 0 [ -1 2 ]; "
           "known dynamic_batch_size 1 32; work 256 weights 64"},
      {AddRelu({2, -1, -1, 2}, R"("dynamic": {"image": [[2, 3], [4, 5]]})"),
       "in 320 8 x " + setting +
           " 0 9 [ 2 -1 -1 2 ] [ 1 ]; out 320 y 0 [ 2 -1 -1 2 ]; "
           "known dynamic_image_size 2,3 4,5; work 320 weights 64"},
      {WithType(Pair({-1, 2}, {3, -1}, R"("dynamic": {"dims": [[4, 1], [8, 3]]})"), "uint8"),
       "in 16 9 8 a b " + setting +
           " 4 4 9 [ -1 2 ] [ 3 -1 ] [ 1 ]; "
           "out 16 9 y z 4 4 [ -1 2 ] [ 3 -1 ]; known dynamic_dims 4,1 8,3; work 0 weights 0"},
      {WithType(Pair({5}, {1, 3}), "int64"),
       "in 40 24 a b 9 9 [ 5 ] [ 1 3 ]; out 40 24 y z 9 9 [ 5 ] [ 1 3 ]; known ; "
       "work 0 weights 0"},
  };
  Init({0, 1});
  for (const auto& [graph, expected] : models) {
    ModelInfo model;
    model.modelData = AsBuffer(graph);
    ASSERT_EQ(OrmoOfflineLoadOnDevice(model, 1), STATUS_SUCCESS) << graph;
    ASSERT_EQ(OrmoOfflineGetModelInfo(model.modelId, info_), STATUS_SUCCESS);
    EXPECT_EQ(ToText(info_), "device 1; " + expected);
    std::vector<std::string> params = info_.dynamicParams;
    params.resize(std::max<size_t>(params.size(), 1));
    for (const std::string& param : params) {
      RunAsTold(model.modelId, info_, param);
    }
    OrmoOfflineUnloadModel(model.modelId);
  }
}

TEST_F(ModelInfoTest, AFailureLeavesNothingOfBeforeAndItsReason) {
  const std::string nothing = ToText(info_);
  OfflineModelInfo told;
  const auto expectFailure = [&](uint32_t modelId, int status, const std::string& reason) {
    info_ = told;
    EXPECT_EQ(OrmoOfflineGetModelInfo(modelId, info_), status);
    EXPECT_EQ(OrmoGetFailureReason(), reason);
    EXPECT_EQ(ToText(info_), nothing);
  };
  Init();
  const uint32_t id = Load(AddRelu({-1, 2}, R"("dynamic": {"batch": [1]})"));
  const std::string unknown = "No model of id " + std::to_string(id) + " is loaded";
  ASSERT_EQ(OrmoOfflineGetModelInfo(id, told), STATUS_SUCCESS);
  OrmoHost::Fail("zelmdlGetDesc", 1, 7);
  expectFailure(id, STATUS_FAILED, "Get model description failed, ret : 7");
  OrmoHost::Throw("zelmdlGetMemoryInfo", 1);
  info_ = told;
  EXPECT_THROW(OrmoOfflineGetModelInfo(id, info_), std::runtime_error);
  EXPECT_EQ(ToText(info_), nothing);
  OrmoOfflineUnloadModel(id);
  expectFailure(id, STATUS_INVALID_PARAM, unknown);
  OrmoOfflineRunnerFinalize();
  expectFailure(id, STATUS_INVALID_PARAM, unknown);
}

// The record as a caller of the first version has it.
struct FirstInfo {
  uint32_t size = sizeof(FirstInfo);
  uint32_t deviceId = 4711;
  std::vector<uint64_t> inputSizes;
  std::vector<uint64_t> outputSizes;
  std::vector<std::string> inputNames;
  std::vector<std::string> outputNames;
  std::vector<uint32_t> inputTypes;
  std::vector<uint32_t> outputTypes;
  std::vector<std::vector<int64_t>> inputShapes;
  std::vector<std::vector<int64_t>> outputShapes;
  bool isDynamicKnown = false;
  std::string dynamicType;
  std::vector<std::string> dynamicParams;
  uint64_t workSize = 0;
  uint64_t weightSize = 0;
};

TEST_F(ModelInfoTest, RecordsOfOtherVersionsKeepWorking) {
  struct {
    FirstInfo info;
    uint64_t beyond = 42;
  } record;

  auto& info = reinterpret_cast<OfflineModelInfo&>(record.info);
  const size_t first = sizeof(FirstInfo);
  Init();
  const uint32_t id = Load(AddRelu({4, 2}));
  for (const size_t size : {first - 1, first, sizeof(record)}) {
    record.info.size = static_cast<uint32_t>(size);
    EXPECT_EQ(OrmoOfflineGetModelInfo(id, info),
              size < first ? STATUS_INVALID_PARAM : STATUS_SUCCESS);
    EXPECT_EQ(record.info.size, size);
    EXPECT_EQ(record.info.deviceId, size < first ? 4711U : 0U);
    EXPECT_EQ(record.info.weightSize, size < first ? 0U : 64U);
    EXPECT_EQ(record.beyond, 42U);
  }
  OrmoOfflineUnloadModel(id);
}

TEST(OptionalFunctionsTest, WhatAPlatformHasNoFunctionToTellIsUnknown) {
  const std::string graph = AddRelu({-1, 2}, R"("dynamic": {"batch": [1, 2]})");
  const std::string input = "zelmdlGetInputInfo";
  const std::string output = "zelmdlGetOutputInfo";
  const std::string dynamic = "zelmdlGetDynamicInfo";
  const std::string memory = "zelmdlGetMemoryInfo";
  const std::string in = " x tarn_mbatch_shape_data 0 9 [ -1 2 ] [ 1 ]";
  const std::string out = " y 0 [ -1 2 ]";

  struct Platform {
    std::vector<std::string> missing;
    std::string told;
  };

  const Platform platforms[] = {
      {{},
       "in 16 8" + in + "; out 16" + out + "; known dynamic_batch_size 1 2; work 64 weights 64"},
      {{input}, "in 16 8; out 16" + out + "; known dynamic_batch_size 1 2; work 64 weights 64"},
      {{output, dynamic}, "in 16 8" + in + "; out 16;; work 64 weights 64"},
      {{input, output, dynamic, memory}, "in 16 8; out 16;; work 0 weights 0"},
  };
  const HomeDirectory directory;
  const std::string file = directory / PLATFORM_SONAME;
  const std::string whole = ReadFile(PLATFORM_LIBRARY);
  for (const auto& [missing, told] : platforms) {
    std::string platform = whole;
    for (const std::string& name : missing) {  // the dynamic linker does not find what is renamed
      for (size_t at = 0; (at = platform.find(name, at)) != std::string::npos;) {
        platform.replace(at, 3, "abc");
      }
    }
    WriteFile(file, platform);
    ChildProcess program(
        {"/usr/bin/env", "LD_LIBRARY_PATH=" + directory.Path().string(), MODEL_INFO_USER, graph});
    EXPECT_EQ(program.ReadLine(), "device 0; " + told);
    EXPECT_EQ(program.Wait(), 0);
  }
}

}  // namespace
}  // namespace Ormo::Testing
