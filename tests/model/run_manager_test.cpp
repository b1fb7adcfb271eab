#include <fcntl.h>

#include <optional>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "common/call_context.h"
#include "common/file_descriptor.h"
#include "common/run_watch.h"
#include "model/model_test.h"

namespace {

mmTimespec now = {};

}  // namespace

// In place of the platform's clock: it stands still while nobody sets it.
mmTimespec mmGetTickCount() {
  return now;
}

namespace Ormo::Testing {
namespace {

// Two inputs and two outputs of their own: y is a and z is b without what is below 0.
std::string PairGraph(const std::string& shape, const std::string& dynamic = "") {
  const std::string output = R"("outputs": [{"dtype": "float32", "shape": )";
  return R"({"format": "ox-graph", "version": 1, "name": "pair", )" + dynamic + R"("nodes": [
      {"name": "a", "type": "Data", )" +
         output + shape + R"(}]},
      {"name": "b", "type": "Data", )" +
         output + R"([128]}]},
      {"name": "y", "type": "Relu", "inputs": ["a"], )" +
         output + shape + R"(}]},
      {"name": "z", "type": "Relu", "inputs": ["b"], )" +
         output + "[128]}]}]}";
}

OrmoDataInfo Buffer(std::vector<float>& values) {
  OrmoDataInfo buffer;
  buffer.data = values.data();
  buffer.size = values.size() * sizeof(float);
  return buffer;
}

class RunManagerTest : public ModelTest {
 protected:
  void SetUp() override {
    ModelTest::SetUp();
    now = {};
    config_.loop = 1;
    config_.runTimeBound = 1;
  }

  // Loads a model whose buffers are whole units of the host's memory, 1024 and 512 bytes, and gives
  // buffers to all of them.
  void LoadPair() {
    ASSERT_EQ(Load(PairGraph("[2, 128]")), STATUS_SUCCESS);
    config_.inputs = {Buffer(a_), Buffer(b_)};
    config_.inputs[1].dims = &shape_;
    config_.inputs[1].dimNum = 1;
    config_.outputs = {Buffer(y_), Buffer(z_)};
  }

  // A memory of which that much is left beside the reserve.
  static void LeaveMemory(size_t bytes, bool isDdr, bool hasReserve) {
    const size_t used = OrmoHost::Alive().deviceBytes + bytes;
    size_t reserve = isDdr && hasReserve ? GIB : 0;
    while (!isDdr && hasReserve &&
           reserve < static_cast<size_t>(static_cast<double>(used + reserve) * 0.01)) {
      ++reserve;
    }
    OrmoHost::SetMemorySize(used + reserve);
  }

  int Process() { return manager_.Process(config_, info_); }

  RunnerConfig config_;
  int64_t shape_ = 128;
  std::vector<float> a_ = std::vector<float>(256, 3);
  std::vector<float> b_ = std::vector<float>(128, 5);
  std::vector<float> y_ = std::vector<float>(256, -1);
  std::vector<float> z_ = std::vector<float>(128, -1);
};

TEST_F(RunManagerTest, EveryBufferHasItsOwnDataAndEveryInputItsOwnShape) {
  LoadPair();
  OrmoHost::RecordCalls();
  EXPECT_EQ(Process(), STATUS_SUCCESS);
  EXPECT_THAT(Calls(), HasSubstr("CreateTensorDesc 0 0 [128], SetDatasetTensorDesc 1, Execute"));
  EXPECT_THAT(y_, Each(3));
  EXPECT_THAT(z_, Each(5));

  config_.inputs[1].data = nullptr;
  EXPECT_EQ(Process(), STATUS_SUCCESS);
  EXPECT_THAT(y_, Each(3));
  EXPECT_THAT(z_, Each(0)) << "an input without data is of zeros";

  config_.outputs[1].data = nullptr;
  a_.assign(256, 7);
  EXPECT_EQ(Process(), STATUS_SUCCESS);
  EXPECT_THAT(y_, Each(3)) << "nothing is copied without a place for every output";
}

TEST_F(RunManagerTest, MemoryIsCheckedForAllBuffersAndAgainForEach) {
  const std::string refused =
      "Check memory size failed|Input dataset is nullptr|Output dataset is nullptr|";
  const std::string outputs =
      " failed|Check output mem size failed, ret: 204|Input dataset is nullptr|";
  const std::string inputs = " failed|Check input mem size failed, ret: 204|";
  const RunMode checked = RunMode::DEFAULT;
  const RunMode unchecked = RunMode::NO_MEMORY_CHECK;
  // All buffers take 3072 bytes. On chips with DDR each input is checked together with the outputs
  // that the caller gave, 1536 bytes.
  const std::tuple<const char*, RunMode, bool, size_t, std::string> cases[] = {
      {"TarnLake1", checked, true, 3072, ""},
      {"TarnLake1", checked, true, 3071, refused},
      {"TarnLake1", unchecked, true, 3071, refused},
      {"TarnLake1", checked, false, 3072, ""},
      {"TarnLake1", checked, false, 3071, "Create input[1]" + inputs},
      {"TarnLake1", checked, false, 1535, "Create output[1]" + outputs},
      {"TarnLake1", checked, false, 1023, "Create output[0]" + outputs},
      {"TarnSpring1", checked, true, 4608, ""},
      {"TarnSpring1", checked, true, 4607, "Create input[1]" + inputs},
      {"TarnSpring1", unchecked, true, 4095, "Create input[0]" + inputs},
      {"TarnSpring1", unchecked, false, 3072, ""},
  };
  LoadPair();
  const RunnerConfig given = config_;
  for (const auto& [chip, mode, isGiven, bytes, warnings] : cases) {
    SCOPED_TRACE(::testing::Message() << chip << " " << isGiven << " " << bytes);
    OrmoHost::SetSocName(chip);
    RunManager manager;
    ASSERT_EQ(manager.Init(0), STATUS_SUCCESS);
    LeaveMemory(bytes, chip == std::string("TarnSpring1"), mode == checked);
    config_ = given;
    config_.runMode = mode;
    if (!isGiven) {
      config_.inputs.clear();
      config_.outputs.clear();
    }
    const LogCapture log(DLOG_WARN);
    EXPECT_EQ(manager.Process(config_, info_),
              warnings.empty() ? STATUS_SUCCESS : STATUS_NOT_ENOUGH_MEMORY);
    const std::string lines = Messages(log, DLOG_WARN);
    EXPECT_EQ(lines.empty(), warnings.empty());
    EXPECT_THAT(lines, EndsWith(warnings));
    manager.Finalize();
  }
  // Before anything else, and also when a small buffer comes first.
  OrmoHost::SetSocName("TarnLake1");
  LeaveMemory(2048, false, true);
  config_ = given;
  config_.inputs[0].size = 1;
  EXPECT_EQ(Process(), STATUS_NOT_ENOUGH_MEMORY);
  LeaveMemory(2049, false, true);
  EXPECT_EQ(Process(), STATUS_FAILED);
}

TEST_F(RunManagerTest, TimesAreThoseOfTheExecutionsAndOneAtTheBoundEndsTheLoop) {
  const uint64_t times[] = {70, 10, 1000, 20, 60, 30, 50, 40, 5000, 1};
  const std::tuple<uint64_t, int, size_t, uint64_t> cases[] = {
      {5001, STATUS_SUCCESS, 10, 45},
      {5000, STATUS_OUT_OF_BOUND, 9, 5000},
      {70, STATUS_OUT_OF_BOUND, 1, 70},
  };
  size_t next = 0;
  OrmoHost::OnCall("zelmdlExecute", OrmoHost::EVERY_CALL,
                   [&] { now.tv_nsec += static_cast<long>(times[next++]); });
  FileDescriptor records(open("/dev/null", O_WRONLY | O_CLOEXEC));
  info_.profFd = records.Address();
  LoadPair();
  config_.outputs.clear();
  for (const bool prof : {false, true}) {
    config_.prof = prof;
    config_.loop = 10;
    for (const auto& [bound, status, executions, time] : cases) {
      SCOPED_TRACE(::testing::Message() << prof << " " << bound);
      const LogCapture log;
      next = 0;
      config_.runTimeBound = bound;
      RunWatch watch;
      char reason[CallContext::REASON_SIZE];
      CallContext call(watch, reason);
      EXPECT_EQ(call.End(Process()), status);
      EXPECT_EQ(next, executions);
      EXPECT_EQ(info_.runCostTime, time);
      EXPECT_EQ(log.Count(DLOG_DEBUG, "execute time : "), prof ? 0 : executions);
      EXPECT_EQ(log.Contains(DLOG_INFO, "Execute model out of bound, index = " +
                                            std::to_string(executions - 1)),
                !prof && status == STATUS_OUT_OF_BOUND);
      EXPECT_EQ(watch.executionsBegun, executions);
      EXPECT_EQ(watch.wallTimes, std::vector<uint64_t>(times, times + executions));
      EXPECT_EQ(watch.boundExecution, status == STATUS_SUCCESS
                                          ? std::nullopt
                                          : std::make_optional<uint32_t>(executions - 1));
    }
    config_.loop = 0;
    EXPECT_EQ(Process(), STATUS_SUCCESS);
    EXPECT_EQ(info_.runCostTime, 0U) << "the average of nothing";
  }
}

TEST_F(RunManagerTest, BuffersThatDoNotFitTheModelAreRefusedByName) {
  const std::tuple<bool, std::vector<size_t>, std::string> cases[] = {
      {true,
       {1024},
       "The number of input 1 is not equal to model input num 2|Invalid config input|"},
      {true, {0, 512}, "Invalid input[0] size : 0 byte(s)|Invalid config input|"},
      {true,
       {1024, 508},
       "Invalid input[1] size: 508 byte(s), but expect size: 512 byte(s)|Invalid config input|"},
      {false,
       {1024},
       "The number of output 1 is not equal to model output num 2|Invalid config output|"},
      {false, {1024, 0}, "Invalid output[1] size : 0 byte(s)|Invalid config output|"},
  };
  LoadPair();
  for (const auto& [isInput, sizes, lines] : cases) {
    const LogCapture log(DLOG_ERROR);
    std::vector<OrmoDataInfo>& buffers = isInput ? config_.inputs : config_.outputs;
    buffers.clear();
    for (const size_t size : sizes) {
      buffers.push_back({nullptr, size});
    }
    EXPECT_EQ(Process(), STATUS_FAILED);
    EXPECT_EQ(Messages(log, DLOG_ERROR), lines + "Invalid run config|");
    buffers.clear();
  }
}

TEST_F(RunManagerTest, WithoutItsDescriptionAModelIsNotMeasured) {
  ModelManager model(1, "TarnLake1", RunMode::DEFAULT);
  uint64_t time = 0;
  config_.dynamicType = "dynamic_dims";
  OrmoHost::RecordCalls();
  EXPECT_EQ(model.CheckInput({{}}), STATUS_FAILED);
  EXPECT_EQ(model.CreateOutput({}), STATUS_PLATFORM_FAILED);
  EXPECT_EQ(model.Execute(time, config_), STATUS_DYNAMIC_PARAM_FAILED);
  EXPECT_EQ(Calls(), "");
}

TEST_F(RunManagerTest, WhereTheModelKnowsNoSizesTheShapesOfTheInputsCount) {
  ASSERT_EQ(Load(PairGraph("[-1]")), STATUS_SUCCESS);
  config_.inputs = {Buffer(b_), Buffer(b_)};
  for (const auto& [dims, dimNum, status] : {std::tuple(&shape_, 0U, STATUS_FAILED),
                                             {nullptr, 1U, STATUS_FAILED},
                                             {&shape_, 1U, STATUS_SUCCESS}}) {
    config_.inputs[0].dims = dims;
    config_.inputs[0].dimNum = dimNum;
    OrmoHost::RecordCalls();
    EXPECT_EQ(Process(), status);
  }
  EXPECT_THAT(Calls(), HasSubstr("GetMemInfo 1, Malloc 1048576 1, Memset 1048576 0 1048576"));
  config_.inputs[1].dims = &shape_;
  config_.inputs[1].size = 4;
  EXPECT_EQ(Process(), STATUS_EXECUTE_FAILED) << "half a shape is not compared with the model";
}

TEST_F(RunManagerTest, DynamicSettingsReachThePlatformBeforeEachExecution) {
  constexpr int REFUSED = STATUS_DYNAMIC_PARAM_FAILED;
  using Model = std::pair<const char*, const char*>;
  const Model fixed = {"[5]", ""};
  const Model batch = {"[-1, 5]", R"("dynamic": {"batch": [1, 8]}, )"};
  const Model image = {"[-1, -1]", R"("dynamic": {"image": [[4, 5], [2, 3]]}, )"};
  const Model dims = {"[-1, -1]", R"("dynamic": {"dims": [[4, 1], [9, 9]]}, )"};
  const std::string notSet = "set input dynamic param failed.";
  std::string many = "1";
  for (int i = 1; i < 129; ++i) {
    many += ",1";
  }
  const std::tuple<Model, std::string, std::string, int, std::string> cases[] = {
      {batch, "dynamic_batch_size", "8", STATUS_SUCCESS, "SetDynamicBatchSize # 2 [8]"},
      {batch, "dynamic_batch_size", "eight", REFUSED, "invalid dynamic_batch_size param."},
      {batch, "dynamic_batch_size", "3", REFUSED, notSet},
      {image, "dynamic_image_size", "2,3", STATUS_SUCCESS, "SetDynamicHWSize # 2 [2, 3]"},
      {image, "dynamic_image_size", "2,3,4", REFUSED, "invalid dynamic_image_size param."},
      {image, "dynamic_image_size", "3,2", REFUSED, notSet},
      {dims, "dynamic_dims", "4,1", STATUS_SUCCESS, "SetInputDynamicDims # 2 [4, 1]"},
      {dims, "dynamic_dims", many, REFUSED, "invalid dynamic_dims param."},
      {dims, "dynamic_dims", many.substr(2), REFUSED, notSet},
      {dims, "dynamic_dims", "9223372036854775808", REFUSED, "invalid dynamic_dims param."},
      {dims, "dynamic_dims", "9223372036854775807", REFUSED, notSet},
      // Nothing is set, which a model with settings does not execute without.
      {batch, "dynamic_colour", "8", STATUS_EXECUTE_FAILED, "Execute model failed, ret : 410004"},
      {batch, "", "8", STATUS_EXECUTE_FAILED, "Execute model failed, ret : 410004"},
      {fixed, "dynamic_colour", "8", REFUSED, "Get input index by name failed."},
  };
  config_.loop = 2;
  for (const auto& [model, type, param, status, outcome] : cases) {
    SCOPED_TRACE(::testing::Message() << type << " " << param);
    ASSERT_EQ(Load(PairGraph(model.first, model.second)), STATUS_SUCCESS);
    config_.dynamicType = type;
    config_.dynamicParam = param;
    const LogCapture log(DLOG_ERROR);
    OrmoHost::RecordCalls();
    EXPECT_EQ(Process(), status);
    if (status == STATUS_SUCCESS) {
      const std::string id = "# " + std::to_string(info_.modelId);
      const std::string once = "GetInputIndexByName tarn_mbatch_shape_data, " +
                               std::regex_replace(outcome, std::regex("#"), id) + ", Execute " +
                               id + ", ";
      EXPECT_THAT(Calls(), HasSubstr(once + once));
    } else {
      EXPECT_THAT(Messages(log, DLOG_ERROR),
                  EndsWith(outcome + "|Execute model failed, index = 0|"));
    }
    Unload();
  }
}

TEST_F(RunManagerTest, AManagerWorksFromItsInitialisationOnTheChipItFoundToItsEnd) {
  const std::string end = "SetCurrentContext device 0, DestroyContext, ResetDevice 0, ";
  const std::string start = "SetDevice 0, CreateContext 0, GetSocName, ";
  const LogCapture log(DLOG_WARN);
  OrmoHost::RecordCalls();
  BecomeChip("TarnStream1");
  BecomeChip("TarnRiver1");
  EXPECT_EQ(manager_.Init(0), STATUS_SUCCESS);
  EXPECT_EQ(manager_.GetSocVersion(), "TarnRiver1");
  OrmoHost::Fail("zelrtSetOpExecuteTimeOut", 1, 5);
  manager_.Finalize();
  OrmoHost::SetSocName("TarnLake1");
  EXPECT_EQ(manager_.Init(0), STATUS_FAILED);
  EXPECT_EQ(Process(), STATUS_FAILED);
  manager_.Finalize();
  EXPECT_EQ(Calls(), end + start + "SetOpExecuteTimeOut 500, " + end + start + end + start +
                         "SetOpExecuteTimeOut, " + end);
  EXPECT_THAT(log.Messages(), ElementsAre("Run manager has been initialized",
                                          "Set op execute timeout failed for TarnLake1, ret : 5",
                                          "Run manager has not been initialized",
                                          "Run manager has not been initialized"));
}

}  // namespace
}  // namespace Ormo::Testing
