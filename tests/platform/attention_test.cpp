// Attention and its gradients against a plain computation in double precision.
#include <gtest/gtest.h>

#include <cmath>

#include "platform/attention_call.h"
#include "platform/platform_test.h"

namespace Ormo::Testing {
namespace {

// Of problems for which central differences take too long.
constexpr size_t LARGE_DEPTH = 64;

enum class Mask { NONE, FOR_ALL, BY_BATCH, BY_HEAD };

struct Problem : AttentionProblem {
  Mask mask;

  size_t Index(size_t head, size_t sequence, size_t row, size_t column) const {
    return IsByHead() ? (head * sequence + row) * depth + column
                      : ((head / heads * sequence + row) * heads + head % heads) * depth + column;
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

// Numbers of seven bits: exact in every type.
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

// Of one query: not scaled down, not cut into blocks, not sped up.
void AddReference(const Problem& p, const Operands& operands, size_t head, size_t query,
                  Values& out) {
  auto at = [&](size_t column) { return p.Index(head, p.queries, query, column); };
  const double scale = 1 / std::sqrt(static_cast<double>(p.depth));
  double sum = 0;
  for (size_t j = 0; j < p.keys; ++j) {
    if (!operands.mask.empty() && operands.mask[p.MaskIndex(head, query, j)] != 0) {
      continue;
    }
    double score = 0;
    for (size_t k = 0; k < p.depth; ++k) {
      score += operands.query[at(k)] * operands.key[p.Index(head, p.keys, j, k)];
    }
    double weight = std::exp(score * scale);
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

// The central differences of the output, weighted by `outGrad`, for each of these numbers, which
// are among the operands.
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

void ExpectNear(const Values& values, const Values& expected, ox::DataType type) {
  ASSERT_EQ(values.size(), expected.size());
  double size = 0;
  double error = 0;
  for (size_t i = 0; i < expected.size(); ++i) {
    size += expected[i] * expected[i];
    error += (values[i] - expected[i]) * (values[i] - expected[i]);
  }
  ASSERT_GT(size, 0);
  EXPECT_LT(std::sqrt(error / size), type == ox::DT_FLOAT ? 1e-5 : 5e-3);
}

using AttentionTest = PlatformTest;

void ExpectAgreement(const Problem& p) {
  Operands operands = MakeOperands(p);
  const Values outGrad = Numbers(operands.query.size(), 4);
  AttentionTensors device(p, operands.query, operands.key, operands.value, outGrad);
  const DeviceTensor mask(p.MaskShape(), ox::DT_BOOL, operands.mask);
  if (p.mask != Mask::NONE) {
    device.forward.inputs[6] = device.backward.inputs[7] = mask.Get();
  }
  ASSERT_EQ(device.forward.Run(), 0);
  ExpectNear(device.out.Read(), Reference(p, operands), p.type);
  if (p.depth == LARGE_DEPTH) {
    return;
  }
  ASSERT_EQ(device.backward.Run(), 0);
  ExpectNear(device.queryGrad.Read(), Differences(p, operands, operands.query, outGrad), p.type);
  ExpectNear(device.keyGrad.Read(), Differences(p, operands, operands.key, outGrad), p.type);
  ExpectNear(device.valueGrad.Read(), Differences(p, operands, operands.value, outGrad), p.type);
}

// Queries are computed in blocks of 64.
TEST_F(AttentionTest, AgreesWithAPlainComputationAndItsGradientsWithCentralDifferences) {
  const Problem problems[] = {
      {{1, 1, 2, 3, 1, "BSH", ox::DT_FLOAT}, Mask::NONE},
      {{2, 3, 5, 7, 4, "BSH", ox::DT_FLOAT}, Mask::BY_HEAD},
      {{2, 3, 7, 5, 4, "BNSD", ox::DT_FLOAT}, Mask::BY_BATCH},
      {{2, 1, 66, 9, 3, "BSH", ox::DT_FLOAT}, Mask::FOR_ALL},
      {{1, 2, 64, 3, 4, "BNSD", ox::DT_FLOAT16}, Mask::NONE},
      {{2, 2, 5, 7, 8, "BSH", ox::DT_FLOAT16}, Mask::BY_BATCH},
      {{1, 2, 150, 300, LARGE_DEPTH, "BSH", ox::DT_FLOAT}, Mask::NONE},
      {{2, 1, 129, 200, LARGE_DEPTH, "BNSD", ox::DT_FLOAT16}, Mask::FOR_ALL}};
  for (const Problem& problem : problems) {
    SCOPED_TRACE(&problem - problems);
    ExpectAgreement(problem);
  }
}

// The largest score is left out, and the last query gets no key.
TEST_F(AttentionTest, LargeScoresStayExact) {
  const AttentionProblem p = {1, 1, 2, 3, 1, "BSH", ox::DT_FLOAT};
  AttentionTensors device(p, {1000, 1000}, {1000, 999, 200000}, {3, 5, 7});
  const DeviceTensor mask({2, 3}, ox::DT_BOOL, {0, 0, 1, 1, 1, 1});
  device.forward.inputs[6] = mask.Get();
  device.forward.scale = 1.0 / 1024;
  ASSERT_EQ(device.forward.Run(), 0) << Reason();
  const double other = std::exp(-1000.0 / 1024);
  ExpectNear(device.softmaxMax.Read(), {1e6 / 1024, 0}, p.type);
  ExpectNear(device.softmaxSum.Read(), {1 + other, 0}, p.type);
  ExpectNear(device.out.Read(), {(3 + 5 * other) / (1 + other), 0}, p.type);
}

}  // namespace
}  // namespace Ormo::Testing
