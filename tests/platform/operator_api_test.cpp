// Calls of single operators: what is refused and why, who owns what, and what is recorded.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>
#include <type_traits>

#include "error_manager/error_manager.h"
#include "ox/type_utils.h"
#include "platform/attention_call.h"
#include "platform/platform_test.h"
#include "zel/zel_prof.h"

namespace Ormo {
namespace {

using Test::BackwardCall;
using Test::DeviceTensor;
using Test::ForwardCall;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr char REFUSED[] = "EH0003: FlashAttentionScore";

/// A call of two batches, two heads, three queries, four keys and eight elements a head.
class OperatorApiTest : public Test::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    for (const std::vector<int64_t>& shape : std::vector<std::vector<int64_t>>{
             {2, 3, 16}, {2, 4, 16}, {2, 4, 16}, {2, 2, 3}, {2, 2, 3}, {2, 3, 16}}) {
      tensors_.push_back(std::make_unique<DeviceTensor>(shape, ox::DT_FLOAT));
    }
    forward_.heads = 2;
    for (size_t i = 0; i < 3; ++i) {
      forward_.inputs[i] = tensors_[i]->Get();
      backward_.inputs[i] = tensors_[i]->Get();
      backward_.outputs[i] = tensors_[i]->Get();
    }
    forward_.outputs[0] = tensors_[3]->Get();
    forward_.outputs[1] = tensors_[4]->Get();
    forward_.outputs[3] = tensors_[5]->Get();
    backward_.heads = 2;
    backward_.inputs[3] = tensors_[5]->Get();
    backward_.inputs[8] = tensors_[3]->Get();
    backward_.inputs[9] = tensors_[4]->Get();
    backward_.inputs[11] = tensors_[5]->Get();
  }

  void TearDown() override {
    tensors_.clear();
    for (const zelTensor* tensor : odd_) {
      EXPECT_EQ(zelDestroyTensor(tensor), 0);
    }
    for (const zelIntArray* array : arrays_) {
      EXPECT_EQ(zelDestroyIntArray(array), 0);
    }
    PlatformTest::TearDown();
  }

  /// A tensor over the query's memory.
  const zelTensor* Odd(const std::vector<int64_t>& shape, ox::DataType type) {
    auto count = static_cast<int64_t>(shape.size());
    odd_.push_back(zelCreateTensor(shape.data(), count, type, nullptr, 0, ox::FORMAT_ND,
                                   shape.data(), count, Memory()));
    return odd_.back();
  }

  std::byte* Memory() const { return static_cast<std::byte*>(tensors_[0]->Data()); }

  const zelIntArray* IntArray(const std::vector<int64_t>& values) {
    arrays_.push_back(zelCreateIntArray(values.data(), values.size()));
    return arrays_.back();
  }

  std::vector<std::unique_ptr<DeviceTensor>> tensors_;
  std::vector<const zelTensor*> odd_;
  std::vector<const zelIntArray*> arrays_;
  ForwardCall forward_;
  BackwardCall backward_;
};

struct Slot {
  const char* name;
  size_t position;
  size_t index;  ///< among the inputs, then the outputs
};

/// Every tensor but the mask: a needed one that is missing, a reserved one that is there.
template <typename Call>
void ExpectEveryTensorIsChecked(const Call& good, const std::vector<Slot>& slots) {
  constexpr size_t INPUTS = std::extent_v<decltype(Call::inputs)>;
  for (const Slot& slot : slots) {
    Call call = good;
    const bool isReserved = slot.name == std::string("reserved");
    (slot.index < INPUTS ? call.inputs[slot.index] : call.outputs[slot.index - INPUTS]) =
        isReserved ? good.inputs[0] : nullptr;
    EXPECT_NE(call.Query(), 0) << slot.name;
    EXPECT_THAT(
        ErrorManager::GetInstance().GetErrorMessage(),
        HasSubstr(": " + std::string(slot.name) + " (position " + std::to_string(slot.position) +
                  "): expected " + (isReserved ? "no tensor" : "a tensor")));
  }
  Call call = good;
  EXPECT_EQ(call.Run(), 0);
}

TEST_F(OperatorApiTest, EveryTensorIsNeededOrReserved) {
  ExpectEveryTensorIsChecked(forward_, {{"query", 0, 0},
                                        {"key", 1, 1},
                                        {"value", 2, 2},
                                        {"reserved", 3, 3},
                                        {"reserved", 4, 4},
                                        {"reserved", 5, 5},
                                        {"softmaxMax", 16, 7},
                                        {"softmaxSum", 17, 8},
                                        {"reserved", 18, 9},
                                        {"attentionOut", 19, 10}});
  ExpectEveryTensorIsChecked(backward_, {{"query", 0, 0},
                                         {"key", 1, 1},
                                         {"value", 2, 2},
                                         {"attentionOutGrad", 3, 3},
                                         {"reserved", 4, 4},
                                         {"reserved", 5, 5},
                                         {"reserved", 6, 6},
                                         {"softmaxMax", 8, 8},
                                         {"softmaxSum", 9, 9},
                                         {"reserved", 10, 10},
                                         {"attentionOut", 11, 11},
                                         {"queryGrad", 21, 12},
                                         {"keyGrad", 22, 13},
                                         {"valueGrad", 23, 14},
                                         {"reserved", 24, 15}});
}

TEST_F(OperatorApiTest, ATensorThatDoesNotFitIsRefusedWithItsReason) {
  constexpr int64_t LARGE = INT64_MAX / 16;

  struct Case {
    size_t slot;  ///< of the forward call's inputs, then outputs
    std::vector<int64_t> shape;
    ox::DataType type;
    const char* reason;
  };

  const Case cases[] = {
      {0, {2, 3}, ox::DT_FLOAT, "query (position 0): expected 3 positive dimensions, not [2, 3]"},
      {0, {}, ox::DT_FLOAT, "expected 3 positive dimensions, not []"},
      {0, {2, 0, 16}, ox::DT_FLOAT, "expected 3 positive dimensions, not [2, 0, 16]"},
      {0, {-2, -3, 16}, ox::DT_FLOAT, "expected 3 positive dimensions, not [-2, -3, 16]"},
      {0, {LARGE, 3, LARGE * 2}, ox::DT_FLOAT, "query (position 0): expected fewer elements"},
      {0, {2, 3, 16}, ox::DT_INT32, "query (position 0): expected float32 or float16"},
      {0, {2, 3, 16}, ox::DT_UNDEFINED, "query (position 0): expected float32 or float16"},
      {0, {2, 4, 16}, ox::DT_FLOAT, "query (position 0): expected 512 bytes of memory of device 0"},
      {1, {2, LARGE * 2, 16}, ox::DT_FLOAT, "keysBefore (position 10): expected at least 11529"},
      {1, {2, 4, 16}, ox::DT_FLOAT16, "key (position 1): expected float32"},
      {1, {1, 4, 16}, ox::DT_FLOAT, "expected the shape [2, 4, 16], not [1, 4, 16]"},
      {1, {2, -1, 16}, ox::DT_FLOAT, "expected the shape [2, 1, 16], not [2, -1, 16]"},
      {2, {2, 3, 16}, ox::DT_FLOAT, "value (position 2): expected the shape [2, 4, 16]"},
      {6, {3, 4}, ox::DT_FLOAT, "mask (position 6): expected bool or uint8"},
      {6, {4, 3}, ox::DT_BOOL, "mask (position 6): expected the shape [3, 4], not [4, 3]"},
      {6, {1, 2, 3, 4}, ox::DT_BOOL, "expected the shape [2, 2, 3, 4], not [1, 2, 3, 4]"},
      {7, {2, 3, 2}, ox::DT_FLOAT, "softmaxMax (position 16): expected the shape [2, 2, 3]"},
      {8, {2, 2, 3}, ox::DT_FLOAT16, "softmaxSum (position 17): expected float32"},
      {10, {2, 4, 16}, ox::DT_FLOAT, "attentionOut (position 19): expected the shape [2, 3, 16]"},
  };
  for (const Case& wrong : cases) {
    ForwardCall call = forward_;
    (wrong.slot < 7 ? call.inputs[wrong.slot] : call.outputs[wrong.slot - 7]) =
        Odd(wrong.shape, wrong.type);
    EXPECT_NE(call.Query(), 0) << wrong.reason;
    EXPECT_THAT(Reason(), AllOf(HasSubstr(REFUSED), HasSubstr(wrong.reason)));
    EXPECT_EQ(call.executor, nullptr);
  }
  for (size_t i = 0; i < 3; ++i) {
    BackwardCall call = backward_;
    call.outputs[i] = Odd({2, 2, 3}, ox::DT_FLOAT);
    EXPECT_NE(call.Query(), 0);
    EXPECT_THAT(Reason(),
                HasSubstr("(position " + std::to_string(21 + i) + "): expected the shape"));
  }
}

TEST_F(OperatorApiTest, ATensorWithoutWhatACallNeedsIsRefused) {
  const int64_t view[] = {2, 3, 16};
  const int64_t flat[] = {6, 16};
  auto create = [&](int64_t count, int64_t storageCount, void* data) {
    odd_.push_back(zelCreateTensor(view, count, ox::DT_FLOAT, nullptr, 0, ox::FORMAT_NULL, flat,
                                   storageCount, data));
    return odd_.back();
  };
  const std::pair<const zelTensor*, const char*> cases[] = {
      {create(ZEL_SHAPE_NOT_GIVEN, ZEL_SHAPE_NOT_GIVEN, Memory()), "expected a shape"},
      {create(3, 2, Memory()), "expected a storage shape that is the shape"},
      {create(3, ZEL_SHAPE_NOT_GIVEN, nullptr), "expected 384 bytes of memory of device 0"},
      {create(3, ZEL_SHAPE_NOT_GIVEN, Memory() - 4), "expected 384 bytes of memory"},
      {create(3, ZEL_SHAPE_NOT_GIVEN, Memory() + 4), "expected 384 bytes of memory"},
      {create(3, ZEL_SHAPE_NOT_GIVEN, Memory() + 2), "at a multiple of 4"},
  };
  for (const auto& [tensor, reason] : cases) {
    ForwardCall call = forward_;
    call.inputs[0] = tensor;
    EXPECT_NE(call.Query(), 0) << reason;
    EXPECT_THAT(Reason(), HasSubstr(reason));
  }
  EXPECT_EQ(zelDestroyTensor(odd_.back()), 0);
  forward_.inputs[0] = odd_.back();
  odd_.pop_back();
  EXPECT_NE(forward_.Query(), 0);
  EXPECT_THAT(Reason(), HasSubstr("query (position 0): expected a tensor"));
}

TEST_F(OperatorApiTest, AnAttributeThatIsNotSupportedIsRefusedWithItsReason) {
  const std::pair<const char*, std::function<void(ForwardCall&)>> cases[] = {
      {"reserved (position 7): expected an integer array without elements",
       [&](ForwardCall& c) { c.list = IntArray({1}); }},
      {"scale (position 8): expected", [](ForwardCall& c) { c.scale = 0; }},
      {"scale (position 8): expected", [](ForwardCall& c) { c.scale = std::nan(""); }},
      {"scale (position 8): expected", [](ForwardCall& c) { c.scale = 1e300; }},
      {"keepProbability (position 9): expected 1", [](ForwardCall& c) { c.keepProbability = 0.9; }},
      {"keysBefore (position 10): expected at least 4", [](ForwardCall& c) { c.keysBefore = 3; }},
      {"keysAfter (position 11): expected at least 4", [](ForwardCall& c) { c.keysAfter = -1; }},
      {"headCount (position 12): expected a positive", [](ForwardCall& c) { c.heads = 0; }},
      {"expected the heads of [2, 3, 16], not 3", [](ForwardCall& c) { c.heads = 3; }},
      {"headCount (position 12): expected", [](ForwardCall& c) { c.heads = INT64_MAX; }},
      {"expected \"BSH\" or \"BNSD\"", [](ForwardCall& c) { c.layout = nullptr; }},
      {"layout (position 13): expected", [](ForwardCall& c) { c.layout = "BSHD"; }},
      {"query (position 0): expected 4 positive", [](ForwardCall& c) { c.layout = "BNSD"; }},
      {"precisionMode (position 14): expected 0", [](ForwardCall& c) { c.precisionMode = 1; }},
      {"maskMode (position 15): expected 0", [](ForwardCall& c) { c.maskMode = 2; }},
  };
  for (const auto& [reason, spoil] : cases) {
    ForwardCall call = forward_;
    spoil(call);
    EXPECT_NE(call.Query(), 0) << reason;
    EXPECT_THAT(Reason(), HasSubstr(reason));
  }
  backward_.scale = -1;
  EXPECT_NE(backward_.Query(), 0);
  EXPECT_THAT(Reason(), HasSubstr("FlashAttentionScoreGrad: scale (position 13)"));
}

TEST_F(OperatorApiTest, AttributesInEachOthersPlaceAreRefused) {
  // As requests keep them: zeroed blocks, read as whatever the position asks for.
  auto block = std::make_unique<uint8_t[]>(16);
  block[0] = 1;
  auto* memory = block.get();
  const zelIntArray* array = IntArray({});
  auto asFloat = [&] {
    float value = 0;
    std::memcpy(&value, array, sizeof(value));
    return static_cast<double>(value);
  };
  auto asInt = [&] {
    int64_t value = 0;
    std::memcpy(&value, array, sizeof(value));
    return value;
  };
  const std::function<void(ForwardCall&)> wrongs[] = {
      [&](ForwardCall& c) { c.list = reinterpret_cast<const zelIntArray*>(memory); },
      [&](ForwardCall& c) { c.layout = reinterpret_cast<const char*>(memory); },
      [&](ForwardCall& c) { c.layout = reinterpret_cast<const char*>(array); },
      [&](ForwardCall& c) { c.scale = asFloat(); },
      [&](ForwardCall& c) { c.keepProbability = asFloat(); },
      [&](ForwardCall& c) { c.keysAfter = asInt(); },
      [&](ForwardCall& c) { c.heads = asInt(); },
      [&](ForwardCall& c) { c.maskMode = asInt(); },
  };
  for (const auto& spoil : wrongs) {
    ForwardCall call = forward_;
    spoil(call);
    EXPECT_NE(call.Query(), 0);
    EXPECT_THAT(Reason(), HasSubstr(REFUSED));
  }
  const float number = 1;
  zelFloatArray* floats = zelCreateFloatArray(&number, 1);
  forward_.list = reinterpret_cast<const zelIntArray*>(floats);
  EXPECT_NE(forward_.Query(), 0);
  EXPECT_NE(zelDestroyIntArray(forward_.list), 0);
  EXPECT_EQ(zelDestroyFloatArray(floats), 0);
  forward_.list = array;
  EXPECT_EQ(forward_.Query(), 0) << Reason();
}

TEST_F(OperatorApiTest, TensorsAndArraysAreCheckedAndCounted) {
  const int64_t dims[26] = {};
  auto create = [&](const int64_t* view, int64_t viewCount, int64_t storageCount,
                    const int64_t* strides = nullptr, int64_t offset = 0) {
    return zelCreateTensor(view, viewCount, ox::DT_FLOAT, strides, offset, ox::FORMAT_NULL, view,
                           storageCount, nullptr);
  };
  EXPECT_EQ(create(dims, 26, 0), nullptr);
  EXPECT_EQ(create(dims, -2, 0), nullptr);
  EXPECT_EQ(create(dims, 0, 26), nullptr);
  EXPECT_EQ(create(nullptr, 1, ZEL_SHAPE_NOT_GIVEN), nullptr);
  EXPECT_EQ(create(dims, 1, 1, dims), nullptr);
  EXPECT_EQ(create(dims, 1, 1, nullptr, 1), nullptr);
  zelTensor* tensor = create(dims, 25, ZEL_SHAPE_NOT_GIVEN);
  EXPECT_EQ(zelCreateIntArray(nullptr, 1), nullptr);
  zelIntArray* ints = zelCreateIntArray(dims, 26);
  zelFloatArray* floats = zelCreateFloatArray(nullptr, 0);
  const bool flags[] = {true, false};
  zelBoolArray* bools = zelCreateBoolArray(flags, 2);
  OrmoHost::AliveObjects alive = OrmoHost::Alive();
  EXPECT_EQ(alive.tensors, tensors_.size() + 1);
  EXPECT_EQ(alive.arrays, 3U);
  EXPECT_EQ(zelDestroyTensor(tensor), 0);
  EXPECT_NE(zelDestroyTensor(tensor), 0);
  EXPECT_EQ(zelDestroyIntArray(ints), 0);
  EXPECT_NE(zelDestroyIntArray(ints), 0);
  EXPECT_EQ(zelDestroyFloatArray(floats), 0);
  EXPECT_EQ(zelDestroyBoolArray(bools), 0);
  EXPECT_EQ(OrmoHost::Alive().arrays, 0U);

  EXPECT_EQ(ox::TypeUtils::SerialStringToDataType("DT_FLOAT16"), ox::DT_FLOAT16);
  EXPECT_EQ(ox::TypeUtils::SerialStringToDataType("DT_FLOAT32"), ox::DT_FLOAT);
  EXPECT_EQ(ox::TypeUtils::SerialStringToDataType("float16"), ox::DT_UNDEFINED);
  EXPECT_EQ(ox::TypeUtils::SerialStringToFormat("ND"), ox::FORMAT_ND);
  EXPECT_EQ(ox::TypeUtils::SerialStringToFormat("nd"), ox::FORMAT_NULL);
}

TEST_F(OperatorApiTest, AnExecutorServesOneExecution) {
  void* workspace = nullptr;
  ASSERT_EQ(forward_.Query(), 0) << Reason();
  const ForwardCall left = forward_;
  EXPECT_EQ(OrmoHost::Alive().executors, 1U);
  ASSERT_EQ(zelrtMalloc(&workspace, forward_.workspaceSize, ZEL_MEM_MALLOC_POLICY_2), 0);
  std::thread([&] {
    EXPECT_EQ(zelrtSetCurrentContext(context_), 0);
    EXPECT_EQ(ForwardCall(forward_).Query(), 0);
    EXPECT_EQ(OrmoHost::Alive().executors, 2U);
  }).join();
  EXPECT_EQ(OrmoHost::Alive().executors, 1U);  // the other went with its thread
  ASSERT_EQ(forward_.Query(), 0);
  EXPECT_EQ(OrmoHost::Alive().executors, 1U);
  EXPECT_NE(left.Execute(workspace), 0);  // it went with the next query
  BackwardCall other = backward_;
  other.executor = forward_.executor;
  other.workspaceSize = forward_.workspaceSize;
  EXPECT_NE(other.Execute(workspace), 0);  // another operator's
  EXPECT_NE(forward_.Execute(workspace), 0);
  EXPECT_EQ(OrmoHost::Alive().executors, 0U);
  ASSERT_EQ(forward_.Query(), 0);
  OrmoHost::Fail("zelnnFlashAttentionScore", 1, 4711);
  EXPECT_EQ(forward_.Execute(workspace), 4711);
  EXPECT_EQ(OrmoHost::Alive().executors, 1U);
  EXPECT_EQ(forward_.Execute(workspace), 0);
  EXPECT_EQ(zelrtFree(workspace), 0);
}

TEST_F(OperatorApiTest, AnExecutionChecksWhatMayHaveChanged) {
  void* workspace = nullptr;
  ASSERT_EQ(forward_.Query(), 0) << Reason();
  ASSERT_EQ(zelrtMalloc(&workspace, forward_.workspaceSize, ZEL_MEM_MALLOC_POLICY_2), 0);
  EXPECT_NE(forward_.Execute(nullptr), 0);
  ASSERT_EQ(forward_.Query(), 0);
  EXPECT_NE(forward_.Execute(static_cast<std::byte*>(workspace) + 4), 0);
  EXPECT_THAT(Reason(), HasSubstr("workspace: expected"));
  ASSERT_EQ(forward_.Query(), 0);
  --forward_.workspaceSize;
  EXPECT_NE(forward_.Execute(workspace), 0);
  ASSERT_EQ(forward_.Query(), 0);
  EXPECT_NE(forward_.Execute(workspace, workspace), 0);  // no such stream
  ASSERT_EQ(forward_.Query(), 0);
  const zelTensor* mask = Odd({3, 4}, ox::DT_BOOL);
  forward_.inputs[6] = mask;
  ASSERT_EQ(forward_.Query(), 0) << Reason();
  EXPECT_EQ(zelDestroyTensor(mask), 0);
  odd_.clear();
  EXPECT_EQ(forward_.Execute(workspace), 0) << Reason();
  forward_.inputs[6] = nullptr;
  ASSERT_EQ(forward_.Query(), 0);
  EXPECT_EQ(zelrtFree(tensors_[1]->Data()), 0);
  EXPECT_NE(forward_.Execute(workspace), 0);
  EXPECT_THAT(Reason(), HasSubstr("key (position 1): expected 512 bytes of memory"));
  EXPECT_EQ(zelrtFree(workspace), 0);
}

TEST_F(OperatorApiTest, ACallBelongsToTheDeviceOfItsContext) {
  zelrtContext other = nullptr;
  ASSERT_EQ(forward_.Query(), 0) << Reason();
  ASSERT_EQ(zelrtSetDevice(1), 0);
  EXPECT_NE(ForwardCall(forward_).Query(), 0);  // no context
  ASSERT_EQ(zelrtCreateContext(&other, 1), 0);
  EXPECT_NE(forward_.Execute(nullptr), 0);
  EXPECT_NE(forward_.Query(), 0);
  EXPECT_THAT(Reason(), HasSubstr("query (position 0): expected 384 bytes of memory of device 1"));
  EXPECT_EQ(zelrtDestroyContext(other), 0);
  EXPECT_EQ(zelrtResetDevice(1), 0);
  EXPECT_EQ(zelrtSetCurrentContext(context_), 0);
}

TEST_F(OperatorApiTest, ContentsAreSetAndSeenFromOutside) {
  std::vector<float> values(128, 2.5F);
  std::vector<uint8_t> bytes(values.size() * sizeof(float));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  OrmoHost::SetOperatorTensor(2, bytes);
  EXPECT_EQ(forward_.Run(), 0) << Reason();
  EXPECT_TRUE(OrmoHost::OperatorOutput(19).empty());
  OrmoHost::KeepOperatorOutputs();
  EXPECT_EQ(forward_.Run(), 0) << Reason();
  std::vector<float> out(96);
  ASSERT_EQ(OrmoHost::OperatorOutput(19).size(), out.size() * sizeof(float));
  std::memcpy(out.data(), OrmoHost::OperatorOutput(19).data(), out.size() * sizeof(float));
  EXPECT_THAT(out, ::testing::Each(2.5F));
  EXPECT_TRUE(OrmoHost::OperatorOutput(2).empty());
  bytes.pop_back();
  OrmoHost::SetOperatorTensor(2, bytes);
  EXPECT_NE(forward_.Run(), 0);
  EXPECT_THAT(Reason(),
              HasSubstr("value (position 2): expected the size of the scripted contents"));
}

class OperatorProfilingTest : public OperatorApiTest {
 protected:
  struct Timed {
    std::string name, type;
    uint64_t start, end, core;
  };

  void SetUp() override {
    OperatorApiTest::SetUp();
    ASSERT_EQ(pipe2(pipe_, O_CLOEXEC), 0);
    config_ = zelprofCreateSubscribeConfig(ZEL_PROF_TIME_INFO_ON, ZEL_AICORE_NONE, &pipe_[1]);
  }

  /// Ends the configuration and the pipe.
  std::vector<Timed> ReadRecords() {
    close(pipe_[1]);
    EXPECT_EQ(zelprofDestroySubscribeConfig(config_), 0);
    size_t size = 0;
    EXPECT_EQ(zelprofGetOpDescSize(&size), 0);
    std::vector<char> record(size);
    std::vector<Timed> records;
    while (read(pipe_[0], record.data(), size) == static_cast<ssize_t>(size)) {
      char name[256];
      char type[64];
      EXPECT_EQ(zelprofGetOpName(record.data(), size, 0, name, sizeof(name)), 0);
      EXPECT_EQ(zelprofGetOpType(record.data(), size, 0, type, sizeof(type)), 0);
      records.push_back({name, type, zelprofGetOpStart(record.data(), size, 0),
                         zelprofGetOpEnd(record.data(), size, 0),
                         ProfGetOpExecutionTime(record.data(), static_cast<uint32_t>(size), 0)});
    }
    close(pipe_[0]);
    return records;
  }

  int pipe_[2] = {-1, -1};
  zelprofSubscribeConfig* config_ = nullptr;
};

TEST_F(OperatorProfilingTest, AnExecutionYieldsItsOperatorAndItsBounds) {
  OrmoHost::KeepAccount();
  EXPECT_EQ(forward_.Run(), 0) << Reason();
  ASSERT_EQ(ProfOpSubscribe(0, config_), 0);
  EXPECT_EQ(forward_.Run(), 0);
  EXPECT_EQ(backward_.Run(), 0) << Reason();
  EXPECT_EQ(ProfOpUnSubscribe(0), 0);
  EXPECT_EQ(forward_.Run(), 0);
  std::vector<Timed> records = ReadRecords();
  ASSERT_EQ(records.size(), 4U);
  EXPECT_EQ(records[0].name, "FlashAttentionScore");
  EXPECT_EQ(records[2].name, "FlashAttentionScoreGrad");
  for (size_t i : {0U, 2U}) {
    const Timed& op = records[i];
    const Timed& step = records[i + 1];
    EXPECT_THAT((std::vector<std::string>{op.type, step.type}), ElementsAre(op.name, "na"));
    EXPECT_LE(step.start, op.start);
    EXPECT_LT(op.start, op.end);
    EXPECT_LE(op.end, step.end);
    EXPECT_GT(op.core, 0U);
    EXPECT_LE(op.core, op.end - op.start);
    EXPECT_EQ(OrmoHost::Account()[op.name].core, op.core);
  }
}

TEST_F(OperatorProfilingTest, ADeviceHasOneSubscriptionAtATime) {
  EXPECT_NE(ProfOpUnSubscribe(0), 0);
  EXPECT_NE(ProfOpSubscribe(0, nullptr), 0);
  EXPECT_NE(ProfOpSubscribe(1, config_), 0);
  ASSERT_EQ(ProfOpSubscribe(0, config_), 0);
  EXPECT_NE(ProfOpSubscribe(0, config_), 0);
  zelrtContext other = nullptr;
  ASSERT_EQ(zelrtSetDevice(1), 0);
  ASSERT_EQ(zelrtCreateContext(&other, 1), 0);
  EXPECT_NE(ProfOpUnSubscribe(0), 0);
  EXPECT_EQ(ProfOpSubscribe(0, config_), 0);
  EXPECT_EQ(OrmoHost::Alive().subscriptions, 2U);
  EXPECT_EQ(ProfOpUnSubscribe(0), 0);
  EXPECT_EQ(zelrtDestroyContext(other), 0);
  EXPECT_EQ(zelrtResetDevice(1), 0);
  EXPECT_EQ(zelrtSetCurrentContext(context_), 0);
  EXPECT_EQ(ProfOpUnSubscribe(0), 0);
  EXPECT_TRUE(ReadRecords().empty());
}

}  // namespace
}  // namespace Ormo
