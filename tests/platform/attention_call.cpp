#include "platform/attention_call.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "zel/zel.h"
#include "zelnn/zelnn_flash_attention_score.h"
#include "zelnn/zelnn_flash_attention_score_grad.h"

namespace Ormo::Testing {
namespace {

// Only for numbers that float16 can hold exactly.
uint16_t ToHalf(double value) {
  if (value == 0) {
    return 0;
  }
  int exponent = 0;
  double mantissa = std::frexp(std::fabs(value), &exponent) * 2 - 1;
  auto bits = static_cast<unsigned>(std::lround(mantissa * 1024));
  return static_cast<uint16_t>((value < 0 ? 0x8000U : 0U) |
                               (static_cast<unsigned>(exponent + 14) << 10U) | bits);
}

double FromHalf(uint16_t half) {
  int exponent = (half >> 10) & 31;
  double mantissa = (half & 1023) / 1024.0;
  double size = exponent == 0 ? std::ldexp(mantissa, -14) : std::ldexp(1 + mantissa, exponent - 15);
  return (half & 0x8000) != 0 ? -size : size;
}

std::vector<int64_t> Dims(const std::vector<size_t>& sizes) {
  return {sizes.begin(), sizes.end()};
}

}  // namespace

DeviceTensor::DeviceTensor(const std::vector<int64_t>& shape, ox::DataType type,
                           const Values& values)
    : type_(type), count_(1) {
  for (int64_t dim : shape) {
    count_ *= static_cast<size_t>(dim);
  }
  EXPECT_TRUE(values.empty() || values.size() == count_);
  auto size = static_cast<size_t>(ox::GetSizeInBytes(static_cast<int64_t>(count_), type));
  EXPECT_EQ(zelrtMalloc(&data_, size, ZEL_MEM_MALLOC_POLICY_2), 0);
  EXPECT_EQ(zelrtMemset(data_, size, 0, size), 0);
  // The host platform's device memory is memory of the process.
  for (size_t i = 0; i < values.size(); ++i) {
    if (type == ox::DT_FLOAT) {
      static_cast<float*>(data_)[i] = static_cast<float>(values[i]);
    } else if (type == ox::DT_FLOAT16) {
      static_cast<uint16_t*>(data_)[i] = ToHalf(values[i]);
    } else {
      static_cast<uint8_t*>(data_)[i] = static_cast<uint8_t>(values[i]);
    }
  }
  auto rank = static_cast<int64_t>(shape.size());
  tensor_ = zelCreateTensor(shape.data(), rank, type, nullptr, 0, ox::FORMAT_ND, nullptr,
                            ZEL_SHAPE_NOT_GIVEN, data_);
}

DeviceTensor::~DeviceTensor() {
  EXPECT_EQ(zelDestroyTensor(tensor_), 0);
  zelrtFree(data_);
}

Values DeviceTensor::Read() const {
  Values values(count_);
  for (size_t i = 0; i < count_; ++i) {
    values[i] = type_ == ox::DT_FLOAT ? static_cast<const float*>(data_)[i]
                                      : FromHalf(static_cast<const uint16_t*>(data_)[i]);
  }
  return values;
}

template <>
int32_t ForwardCall::Query() {
  return zelnnFlashAttentionScoreGetWorkspaceSize(
      inputs[0], inputs[1], inputs[2], inputs[3], inputs[4], inputs[5], inputs[6], list, scale,
      keepProbability, keysBefore, keysAfter, heads, const_cast<char*>(layout), precisionMode,
      maskMode, outputs[0], outputs[1], outputs[2], outputs[3], &workspaceSize, &executor);
}

template <>
int32_t BackwardCall::Query() {
  return zelnnFlashAttentionScoreGradGetWorkspaceSize(
      inputs[0], inputs[1], inputs[2], inputs[3], inputs[4], inputs[5], inputs[6], inputs[7],
      inputs[8], inputs[9], inputs[10], inputs[11], list, scale, keepProbability, keysBefore,
      keysAfter, heads, const_cast<char*>(layout), precisionMode, maskMode, outputs[0], outputs[1],
      outputs[2], outputs[3], &workspaceSize, &executor);
}

template <>
int32_t ForwardCall::Execute(void* workspace, zelrtStream stream) const {
  return zelnnFlashAttentionScore(workspace, workspaceSize, executor, stream);
}

template <>
int32_t BackwardCall::Execute(void* workspace, zelrtStream stream) const {
  return zelnnFlashAttentionScoreGrad(workspace, workspaceSize, executor, stream);
}

template <size_t INPUTS>
int32_t AttentionCall<INPUTS>::Run() {
  if (int32_t code = Query()) {
    return code;
  }
  void* workspace = nullptr;
  EXPECT_EQ(zelrtMalloc(&workspace, workspaceSize, ZEL_MEM_MALLOC_POLICY_2), 0);
  int32_t code = Execute(workspace);
  EXPECT_EQ(zelrtSynchronizeStream(nullptr), 0);
  EXPECT_EQ(zelrtFree(workspace), 0);
  return code;
}

template struct AttentionCall<7>;
template struct AttentionCall<12>;

std::vector<int64_t> AttentionProblem::Shape(size_t rows) const {
  return IsByHead() ? Dims({batches, heads, rows, depth}) : Dims({batches, rows, heads * depth});
}

AttentionTensors::AttentionTensors(const AttentionProblem& p, const Values& queryValues,
                                   const Values& keyValues, const Values& valueValues,
                                   const Values& outGradValues)
    : query(p.Shape(p.queries), p.type, queryValues),
      key(p.Shape(p.keys), p.type, keyValues),
      value(p.Shape(p.keys), p.type, valueValues),
      softmaxMax(Dims({p.batches, p.heads, p.queries}), ox::DT_FLOAT),
      softmaxSum(Dims({p.batches, p.heads, p.queries}), ox::DT_FLOAT),
      out(p.Shape(p.queries), p.type),
      outGrad(p.Shape(p.queries), p.type, outGradValues),
      queryGrad(p.Shape(p.queries), p.type),
      keyGrad(p.Shape(p.keys), p.type),
      valueGrad(p.Shape(p.keys), p.type) {
  forward.scale = backward.scale = 1 / std::sqrt(static_cast<double>(p.depth));
  forward.heads = backward.heads = static_cast<int64_t>(p.heads);
  forward.layout = backward.layout = p.layout;
  const DeviceTensor* shared[] = {&query, &key, &value};
  const DeviceTensor* grads[] = {&queryGrad, &keyGrad, &valueGrad};
  for (size_t i = 0; i < 3; ++i) {
    forward.inputs[i] = backward.inputs[i] = shared[i]->Get();
    backward.outputs[i] = grads[i]->Get();
  }
  backward.inputs[3] = outGrad.Get();
  forward.outputs[0] = backward.inputs[8] = softmaxMax.Get();
  forward.outputs[1] = backward.inputs[9] = softmaxSum.Get();
  forward.outputs[3] = backward.inputs[11] = out.Get();
}

}  // namespace Ormo::Testing
