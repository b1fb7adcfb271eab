// Attention and its gradients against a plain computation in double precision.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "platform/attention_call.h"
#include "platform/platform_test.h"

namespace Ormo::Testing {
namespace {

/// Of problems for which central differences take too long.
constexpr size_t LARGE_DEPTH = 64;

enum class Mask { NONE, FOR_ALL, BY_BATCH, BY_HEAD };

struct Problem {
  size_t batches, heads, queries, keys, depth;
  std::string layout;
  ox::DataType type;
  Mask mask;

  std::vector<int64_t> Shape(size_t sequence) const {
    auto dim = [](size_t size) { return static_cast<int64_t>(size); };
    return layout == "BSH" ? std::vector{dim(batches), dim(sequence), dim(heads * depth)}
                           : std::vector{dim(batches), dim(heads), dim(sequence), dim(depth)};
  }

  size_t Index(size_t head, size_t sequence, size_t row, size_t column) const {
    return layout == "BSH"
               ? ((head / heads * sequence + row) * heads + head % heads) * depth + column
               : (head * sequence + row) * depth + column;
  }

  std::vector<int64_t> MaskShape() const {
    auto dim = [](size_t size) { return static_cast<int64_t>(size); };
    std::vector<int64_t> shape = {dim(queries), dim(keys)};
    if (mask != Mask::FOR_ALL) {
      shape.insert(shape.begin(), {dim(batches), mask == Mask::BY_HEAD ? dim(heads) : 1});
    }
    return shape;
  }

  size_t MaskIndex(size_t head, size_t query, size_t key) const {
    size_t matrix = mask == Mask::FOR_ALL ? 0 : mask == Mask::BY_BATCH ? head / heads : head;
    return (matrix * queries + query) * keys + key;
  }
};

void PrintTo(const Problem& p, std::ostream* out) {
  *out << p.batches << "x" << p.heads << "x" << p.queries << "x" << p.keys << "x" << p.depth << " "
       << p.layout << " type " << p.type << " mask " << static_cast<int>(p.mask);
}

/// Numbers of seven bits: exact in every type.
Values Numbers(size_t count, size_t seed) {
  Values values(count);
  for (size_t i = 0; i < count; ++i) {
    values[i] = (static_cast<double>((i * 37 + i / 5 * 11 + seed * 29) % 129) - 64) / 64;
  }
  return values;
}

struct Operands {
  Values query, key, value, mask;
};

Operands MakeOperands(const Problem& p) {
  size_t perRow = p.batches * p.heads * p.depth;
  Operands operands{
      Numbers(perRow * p.queries, 1), Numbers(perRow * p.keys, 2), Numbers(perRow * p.keys, 3), {}};
  if (p.mask == Mask::NONE) {
    return operands;
  }
  size_t count = p.MaskIndex(p.batches * p.heads - 1, p.queries - 1, p.keys - 1) + 1;
  for (size_t i = 0; i < count; ++i) {
    bool isLastQuery = i / p.keys % p.queries == p.queries - 1;  // which gets no key
    operands.mask.push_back(isLastQuery || i % 11 < 3 ? 1 : 0);  // differs from head to head
  }
  return operands;
}

double Scale(const Problem& p) {
  return 1 / std::sqrt(static_cast<double>(p.depth));
}

/// Of one query: not scaled down, not cut into blocks, not sped up.
void AddReference(const Problem& p, const Operands& operands, size_t head, size_t query,
                  Values& out) {
  auto at = [&](size_t column) { return p.Index(head, p.queries, query, column); };
  double sum = 0;
  for (size_t j = 0; j < p.keys; ++j) {
    if (!operands.mask.empty() && operands.mask[p.MaskIndex(head, query, j)] != 0) {
      continue;
    }
    double score = 0;
    for (size_t k = 0; k < p.depth; ++k) {
      score += operands.query[at(k)] * operands.key[p.Index(head, p.keys, j, k)];
    }
    double weight = std::exp(score * Scale(p));
    sum += weight;
    for (size_t k = 0; k < p.depth; ++k) {
      out[at(k)] += weight * operands.value[p.Index(head, p.keys, j, k)];
    }
  }
  for (size_t k = 0; k < p.depth && sum > 0; ++k) {
    out[at(k)] /= sum;
  }
}

Values Reference(const Problem& p, const Operands& operands) {
  Values out(operands.query.size());
  for (size_t i = 0; i < p.batches * p.heads * p.queries; ++i) {
    AddReference(p, operands, i / p.queries, i % p.queries, out);
  }
  return out;
}

/// The central differences of the output, weighted by `outGrad`, for each of these numbers, which
/// are among the operands.
Values Differences(const Problem& p, const Operands& operands, Values& numbers,
                   const Values& outGrad) {
  constexpr double STEP = 1e-5;
  Values result;
  for (double& number : numbers) {
    const double middle = number;
    number = middle + STEP;
    const Values above = Reference(p, operands);
    number = middle - STEP;
    const Values below = Reference(p, operands);
    number = middle;
    double sum = 0;
    for (size_t i = 0; i < outGrad.size(); ++i) {
      sum += outGrad[i] * (above[i] - below[i]) / (2 * STEP);
    }
    result.push_back(sum);
  }
  return result;
}

double Norm(const Values& values) {
  double sum = 0;
  for (double value : values) {
    sum += value * value;
  }
  return std::sqrt(sum);
}

void ExpectNear(const Values& values, Values expected, ox::DataType type) {
  double size = Norm(expected);
  ASSERT_GT(size, 0);
  std::transform(values.begin(), values.end(), expected.begin(), expected.begin(),
                 std::minus<double>());
  EXPECT_LT(Norm(expected) / size, type == ox::DT_FLOAT ? 1e-5 : 5e-3);
}

/// The tensors of a problem on the device, and its forward call.
struct OnDevice {
  OnDevice(const Problem& p, const Operands& operands)
      : query(p.Shape(p.queries), p.type, operands.query),
        key(p.Shape(p.keys), p.type, operands.key),
        value(p.Shape(p.keys), p.type, operands.value),
        mask(p.MaskShape(), ox::DT_BOOL, operands.mask),
        softmaxMax(SoftmaxShape(p), ox::DT_FLOAT),
        softmaxSum(SoftmaxShape(p), ox::DT_FLOAT),
        out(p.Shape(p.queries), p.type) {
    forward.inputs[0] = query.Get();
    forward.inputs[1] = key.Get();
    forward.inputs[2] = value.Get();
    forward.inputs[6] = p.mask == Mask::NONE ? nullptr : mask.Get();
    forward.scale = Scale(p);
    forward.heads = static_cast<int64_t>(p.heads);
    forward.layout = p.layout.c_str();
    forward.outputs[0] = softmaxMax.Get();
    forward.outputs[1] = softmaxSum.Get();
    forward.outputs[3] = out.Get();
  }

  static std::vector<int64_t> SoftmaxShape(const Problem& p) {
    return {static_cast<int64_t>(p.batches), static_cast<int64_t>(p.heads),
            static_cast<int64_t>(p.queries)};
  }

  DeviceTensor query, key, value, mask, softmaxMax, softmaxSum, out;
  ForwardCall forward;
};

using AttentionValueTest = PlatformTest;

class AttentionTest : public PlatformTest, public ::testing::WithParamInterface<Problem> {};

TEST_P(AttentionTest, AgreesWithAPlainComputationAndItsGradientsWithCentralDifferences) {
  const Problem& p = GetParam();
  Operands operands = MakeOperands(p);
  OnDevice device(p, operands);
  ASSERT_EQ(device.forward.Run(), 0) << Reason();
  ExpectNear(device.out.Read(), Reference(p, operands), p.type);
  if (p.depth == LARGE_DEPTH) {
    return;
  }
  const Values outGrad = Numbers(operands.query.size(), 4);
  DeviceTensor outGradTensor(p.Shape(p.queries), p.type, outGrad);
  DeviceTensor queryGrad(p.Shape(p.queries), p.type);
  DeviceTensor keyGrad(p.Shape(p.keys), p.type);
  DeviceTensor valueGrad(p.Shape(p.keys), p.type);
  BackwardCall call;
  std::copy_n(device.forward.inputs, 3, call.inputs);
  call.inputs[3] = outGradTensor.Get();
  call.inputs[7] = device.forward.inputs[6];
  call.inputs[8] = device.softmaxMax.Get();
  call.inputs[9] = device.softmaxSum.Get();
  call.inputs[11] = device.out.Get();
  call.scale = device.forward.scale;
  call.heads = device.forward.heads;
  call.layout = device.forward.layout;
  call.outputs[0] = queryGrad.Get();
  call.outputs[1] = keyGrad.Get();
  call.outputs[2] = valueGrad.Get();
  ASSERT_EQ(call.Run(), 0) << Reason();

  ExpectNear(queryGrad.Read(), Differences(p, operands, operands.query, outGrad), p.type);
  ExpectNear(keyGrad.Read(), Differences(p, operands, operands.key, outGrad), p.type);
  ExpectNear(valueGrad.Read(), Differences(p, operands, operands.value, outGrad), p.type);
}

// Queries are computed in blocks of 64.
INSTANTIATE_TEST_SUITE_P(
    Problems, AttentionTest,
    ::testing::Values(Problem{1, 1, 2, 3, 1, "BSH", ox::DT_FLOAT, Mask::NONE},
                      Problem{2, 3, 5, 7, 4, "BSH", ox::DT_FLOAT, Mask::BY_HEAD},
                      Problem{2, 3, 7, 5, 4, "BNSD", ox::DT_FLOAT, Mask::BY_BATCH},
                      Problem{2, 1, 66, 9, 3, "BSH", ox::DT_FLOAT, Mask::FOR_ALL},
                      Problem{1, 2, 64, 3, 4, "BNSD", ox::DT_FLOAT16, Mask::NONE},
                      Problem{2, 2, 5, 7, 8, "BSH", ox::DT_FLOAT16, Mask::BY_BATCH},
                      Problem{1, 2, 150, 300, LARGE_DEPTH, "BSH", ox::DT_FLOAT, Mask::NONE},
                      Problem{2, 1, 129, 200, LARGE_DEPTH, "BNSD", ox::DT_FLOAT16, Mask::FOR_ALL}));

TEST_F(AttentionValueTest, LargeScoresStayExact) {
  const Problem p = {1, 1, 1, 2, 1, "BSH", ox::DT_FLOAT, Mask::NONE};
  OnDevice device(p, {{1000}, {1000, 999}, {3, 5}, {}});
  device.forward.scale = 1.0 / 1024;
  ASSERT_EQ(device.forward.Run(), 0) << Reason();
  const double other = std::exp(-1000.0 / 1024);
  EXPECT_FLOAT_EQ(static_cast<float>(device.softmaxMax.Read()[0]), 1e6F / 1024);
  EXPECT_NEAR(device.softmaxSum.Read()[0], 1 + other, 1e-4);
  EXPECT_NEAR(device.out.Read()[0], (3 + 5 * other) / (1 + other), 1e-4);
}

}  // namespace
}  // namespace Ormo::Testing
