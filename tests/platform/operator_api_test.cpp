// Calls of single operators: what is refused and why, who owns what, and what is recorded.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <regex>
#include <set>
#include <thread>
#include <type_traits>
#include <utility>

#include "error_manager/error_manager.h"
#include "platform/attention_call.h"
#include "platform/platform_test.h"
#include "support/matchers.h"
#include "zel/zel_prof.h"

// In place of the system's: shows one mapping again and refuses the next, as some tools do all.
// NOLINTNEXTLINE(cert-dcl50-cpp,readability-inconsistent-*): the system's declaration
extern "C" void* mremap(void* old, size_t oldSize, size_t size, int flags, ...) noexcept {
  static int calls = 0;
  if (++calls % 2 == 0) {
    return MAP_FAILED;
  }
  // NOLINTNEXTLINE(performance-no-int-to-ptr): an address
  return reinterpret_cast<void*>(syscall(SYS_mremap, old, oldSize, size, flags));
}

namespace Ormo::Testing {
namespace {

// A call of two batches, two heads, three queries, four keys and eight elements a head.
class OperatorApiTest : public PlatformTest {
 protected:
  void TearDown() override {
    for (const zelTensor* tensor : odd_) {
      EXPECT_EQ(zelDestroyTensor(tensor), 0);
    }
  }

  // A tensor over the query's memory.
  const zelTensor* Odd(const std::vector<int64_t>& shape, ox::DataType type) {
    auto count = static_cast<int64_t>(shape.size());
    odd_.push_back(zelCreateTensor(shape.data(), count, type, nullptr, 0, ox::FORMAT_ND,
                                   shape.data(), count, Memory()));
    return odd_.back();
  }

  std::byte* Memory() const { return static_cast<std::byte*>(tensors_.query.Data()); }

  const AttentionTensors tensors_{{2, 2, 3, 4, 8, "BSH", ox::DT_FLOAT}};
  std::vector<const zelTensor*> odd_;
  ForwardCall forward_ = tensors_.forward;
  BackwardCall backward_ = tensors_.backward;
};

// Gives each position of the call what it must not have: a needed tensor is missing, a reserved
// one is there, the mask is the query. Says at which positions what was expected.
template <typename Call>
std::string Misplaced(const Call& good) {
  constexpr size_t INPUTS = std::extent_v<decltype(Call::inputs)>;
  const std::regex expected("position ([0-9]+)\\): expected (\\w+)");
  std::string all;
  for (size_t i = 0; i < INPUTS + 4; ++i) {
    Call call = good;
    const zelTensor*& slot = i < INPUTS ? call.inputs[i] : call.outputs[i - INPUTS];
    slot = slot == nullptr ? good.inputs[0] : nullptr;
    EXPECT_EQ(call.Query(), 430001) << i;
    const std::string reason = ErrorManager::GetInstance().GetErrorMessage();
    std::smatch parts;
    EXPECT_TRUE(std::regex_search(reason, parts, expected)) << reason;
    all += parts.str(1) + parts.str(2) + " ";
  }
  return all;
}

TEST_F(OperatorApiTest, EveryTensorIsNeededOrReserved) {
  EXPECT_EQ(Misplaced(forward_), "0a 1a 2a 3no 4no 5no 6the 16a 17a 18no 19a ");
  EXPECT_EQ(Misplaced(backward_), "0a 1a 2a 3a 4no 5no 6no 7the 8a 9a 10no 11a 21a 22a 23a 24no ");
  EXPECT_EQ(forward_.Run(), 0);
  EXPECT_EQ(backward_.Run(), 0);
}

TEST_F(OperatorApiTest, WhatDoesNotFitIsNotSupportedOrLackingIsRefusedWithItsReason) {
  constexpr int64_t LARGE = INT64_MAX / 16;
  const int64_t view[] = {2, 3, 16};
  const int64_t flat[] = {6, 16};
  const auto create = [&](int64_t count, int64_t storageCount, std::byte* data) {
    odd_.push_back(zelCreateTensor(view, count, ox::DT_FLOAT, nullptr, 0, ox::FORMAT_NULL, flat,
                                   storageCount, data));
    return odd_.back();
  };
  const auto at = [&](std::byte* data) { return create(3, ZEL_SHAPE_NOT_GIVEN, data); };
  // Takes the place of one of the inputs, then outputs.
  const auto odd = [&](size_t slot, const std::vector<int64_t>& shape, ox::DataType type) {
    return [slot, tensor = Odd(shape, type)](ForwardCall& call) {
      (slot < 7 ? call.inputs[slot] : call.outputs[slot - 7]) = tensor;
    };
  };
  const zelTensor* gone = Odd({1}, ox::DT_FLOAT);
  EXPECT_EQ(zelDestroyTensor(gone), 0);
  odd_.clear();
  zelIntArray* list = zelCreateIntArray(flat, 1);
  const std::pair<const char*, std::function<void(ForwardCall&)>> cases[] = {
      {"query (position 0): expected 3 positive dimensions, not [2, 3]",
       odd(0, {2, 3}, ox::DT_FLOAT)},
      {"expected 3 positive dimensions, not [-2, -3, 16]", odd(0, {-2, -3, 16}, ox::DT_FLOAT)},
      {"query (position 0): expected fewer elements", odd(0, {LARGE, 3, LARGE * 2}, ox::DT_FLOAT)},
      {"query (position 0): expected float32 or float16", odd(0, {2, 3, 16}, ox::DT_INT32)},
      {"query (position 0): expected 512 bytes of memory of device 0",
       odd(0, {2, 4, 16}, ox::DT_FLOAT)},
      {"keysBefore (position 10): expected at least 11529",
       odd(1, {2, LARGE * 2, 16}, ox::DT_FLOAT)},
      {"key (position 1): expected float32", odd(1, {2, 4, 16}, ox::DT_FLOAT16)},
      {"expected the shape [2, 4, 16], not [1, 4, 16]", odd(1, {1, 4, 16}, ox::DT_FLOAT)},
      {"value (position 2): expected the shape [2, 4, 16]", odd(2, {2, 3, 16}, ox::DT_FLOAT)},
      {"mask (position 6): expected bool or uint8", odd(6, {3, 4}, ox::DT_FLOAT)},
      {"mask (position 6): expected the shape [3, 4], not [4, 3]", odd(6, {4, 3}, ox::DT_BOOL)},
      {"expected the shape [2, 2, 3, 4], not [1, 2, 3, 4]", odd(6, {1, 2, 3, 4}, ox::DT_BOOL)},
      {"softmaxMax (position 16): expected the shape [2, 2, 3]", odd(7, {2, 3, 2}, ox::DT_FLOAT)},
      {"softmaxSum (position 17): expected float32", odd(8, {2, 2, 3}, ox::DT_FLOAT16)},
      {"attentionOut (position 19): expected the shape [2, 3, 16]",
       odd(10, {2, 4, 16}, ox::DT_FLOAT)},
      {"query (position 0): expected a tensor", [&](ForwardCall& c) { c.inputs[0] = gone; }},
      {"expected a shape", [&](ForwardCall& c) { c.inputs[0] = create(-1, -1, Memory()); }},
      {"a storage shape that is", [&](ForwardCall& c) { c.inputs[0] = create(3, 2, Memory()); }},
      {"384 bytes of memory of device 0", [&](ForwardCall& c) { c.inputs[0] = at(nullptr); }},
      {"384 bytes of memory", [&](ForwardCall& c) { c.inputs[0] = at(Memory() - 4); }},
      {"384 bytes of memory", [&](ForwardCall& c) { c.inputs[0] = at(Memory() + 4); }},
      {"at a multiple of 4", [&](ForwardCall& c) { c.inputs[0] = at(Memory() + 2); }},
      {"reserved (position 7): expected an integer array without elements",
       [&](ForwardCall& c) { c.list = list; }},
      {"scale (position 8): expected", [](ForwardCall& c) { c.scale = 0; }},
      {"scale (position 8): expected", [](ForwardCall& c) { c.scale = std::nan(""); }},
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
    EXPECT_THAT(Reason(), AllOf(StartsWith("EH0003: FlashAttentionScore: "), HasSubstr(reason)));
    EXPECT_EQ(call.executor, nullptr);
  }
  EXPECT_EQ(zelDestroyIntArray(list), 0);
  backward_.scale = -1;
  EXPECT_NE(backward_.Query(), 0);
  EXPECT_THAT(Reason(), HasSubstr("FlashAttentionScoreGrad: scale (position 13)"));
}

TEST_F(OperatorApiTest, TensorsAndArraysAreCheckedAndCounted) {
  const int64_t dims[26] = {};
  auto create = [&](const int64_t* view, int64_t viewCount, int64_t storageCount,
                    const int64_t* strides = nullptr, int64_t offset = 0) {
    return zelCreateTensor(view, viewCount, ox::DT_FLOAT, strides, offset, ox::FORMAT_NULL, view,
                           storageCount, nullptr);
  };
  EXPECT_THAT((std::vector<zelTensor*>{create(dims, 26, 0), create(dims, -2, 0),
                                       create(nullptr, 1, ZEL_SHAPE_NOT_GIVEN),
                                       create(dims, 1, 1, dims), create(dims, 1, 1, nullptr, 1)}),
              Each(IsNull()));
  zelTensor* tensor = create(dims, 25, ZEL_SHAPE_NOT_GIVEN);
  zelFloatArray* floats = zelCreateFloatArray(nullptr, 0);
  const int zeros = open("/dev/zero", O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(OrmoHost::Alive().tensors, 11U);
  EXPECT_EQ(OrmoHost::Alive().arrays, 1U);
  // An array of another kind is not taken, nor destroyed.
  forward_.list = reinterpret_cast<const zelIntArray*>(floats);
  EXPECT_NE(forward_.Query(), 0);
  EXPECT_NE(zelDestroyIntArray(forward_.list), 0);
  EXPECT_EQ(read(zeros, floats, 1), -1);  // nobody can write to what arrays share
  close(zeros);
  EXPECT_EQ(zelDestroyFloatArray(floats), 0);
  std::set<zelFloatArray*> known = {floats};
  for (int i = 0; i < 40000; ++i) {
    zelFloatArray* next = zelCreateFloatArray(nullptr, 0);
    EXPECT_TRUE(known.insert(next).second);
    EXPECT_EQ(std::memcmp(next, "\xff\xff\xff\xff\xff\xff\xff\xff\0\0\0\0\0\0\0", 16), 0);
    EXPECT_EQ(zelDestroyFloatArray(next), 0);
  }
  EXPECT_NE(zelDestroyFloatArray(floats), 0);
  EXPECT_EQ(zelDestroyTensor(tensor), 0);
  EXPECT_NE(zelDestroyTensor(tensor), 0);
}

TEST_F(OperatorApiTest, AnExecutorServesOneExecution) {
  void* workspace = nullptr;
  ASSERT_EQ(forward_.Query(), 0) << Reason();
  const ForwardCall left = forward_;
  EXPECT_EQ(OrmoHost::Alive().executors, 1U);
  ASSERT_EQ(zelrtMalloc(&workspace, forward_.workspaceSize, ZEL_MEM_MALLOC_POLICY_2), 0);
  std::thread([&] {
    EXPECT_NE(ForwardCall(forward_).Query(), 0);  // no context
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
  EXPECT_EQ(forward_.Execute(workspace), 0);
  EXPECT_EQ(zelrtFree(workspace), 0);
}

TEST_F(OperatorApiTest, AnExecutionChecksWhatMayHaveChanged) {
  void* memory = nullptr;
  ASSERT_EQ(forward_.Query(), 0) << Reason();
  ASSERT_EQ(zelrtMalloc(&memory, forward_.workspaceSize, ZEL_MEM_MALLOC_POLICY_2), 0);
  OnDevice1([&] {
    EXPECT_EQ(forward_.Execute(memory), 410003);
    EXPECT_EQ(forward_.Query(), 430001);
    EXPECT_THAT(Reason(),
                HasSubstr("query (position 0): expected 384 bytes of memory of device 1"));
  });
  const auto execute = [&](void* workspace, uint64_t lacking = 0, zelrtStream stream = nullptr) {
    EXPECT_EQ(forward_.Query(), 0) << Reason();
    forward_.workspaceSize -= lacking;
    return forward_.Execute(workspace, stream);
  };
  EXPECT_NE(execute(nullptr), 0);
  EXPECT_NE(execute(static_cast<std::byte*>(memory) + 4), 0);
  EXPECT_THAT(Reason(), HasSubstr("workspace: expected"));
  EXPECT_NE(execute(memory, 1), 0);
  EXPECT_NE(execute(memory, 0, memory), 0);  // no such stream
  const zelTensor* mask = Odd({3, 4}, ox::DT_BOOL);
  forward_.inputs[6] = mask;
  ASSERT_EQ(forward_.Query(), 0) << Reason();
  EXPECT_EQ(zelDestroyTensor(mask), 0);
  odd_.clear();
  EXPECT_EQ(forward_.Execute(memory), 0) << Reason();
  forward_.inputs[6] = nullptr;
  ASSERT_EQ(forward_.Query(), 0);
  EXPECT_EQ(zelrtFree(tensors_.key.Data()), 0);
  EXPECT_NE(forward_.Execute(memory), 0);
  EXPECT_THAT(Reason(), HasSubstr("key (position 1): expected 512 bytes of memory"));
  EXPECT_EQ(zelrtFree(memory), 0);
}

TEST_F(OperatorApiTest, ContentsAreSetAndSeenFromOutside) {
  OrmoHost::SetOperatorTensor(2, ToBytes(std::vector<float>(128, 2.5F)));
  OrmoHost::KeepOperatorOutputs();
  EXPECT_EQ(forward_.Run(), 0) << Reason();
  EXPECT_EQ(OrmoHost::OperatorOutput(19), ToBytes(std::vector<float>(96, 2.5F)));
  EXPECT_EQ(backward_.Run(), 0) << Reason();
  EXPECT_EQ(OrmoHost::OperatorOutput(19).size(), 0U) << "the latest execution counts";
  OrmoHost::SetOperatorTensor(2, ToBytes({2.5F}));
  EXPECT_NE(forward_.Run(), 0);
  EXPECT_THAT(Reason(),
              HasSubstr("value (position 2): expected the size of the scripted contents"));
}

}  // namespace
}  // namespace Ormo::Testing
