// Operators compute what their formulas say.
#include <cmath>

#include "platform/platform_test.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

using Values = std::vector<float>;

class OperatorTest : public PlatformTest {
 protected:
  /// Runs one node on inputs "a", "b", "c" of these shapes and returns its output.
  Values Run(const std::string& type, const std::vector<std::vector<int64_t>>& shapes,
             const std::vector<Values>& inputs, const std::vector<int64_t>& outputShape,
             const std::string& attrs = "") {
    std::vector<std::string> nodes;
    std::string names;
    for (size_t i = 0; i < shapes.size(); ++i) {
      std::string name(1, static_cast<char>('a' + i));
      nodes.push_back(Node(name, "Data", "", shapes[i]));
      names += (names.empty() ? "\"" : ", \"") + name + "\"";
    }
    nodes.push_back(Node("op", type, names, outputShape, attrs));
    size_t count = 1;
    for (int64_t dim : outputShape) {
      count *= static_cast<size_t>(dim);
    }
    FloatDataset input(inputs);
    FloatDataset output({Values(count, NAN)});
    EXPECT_EQ(zelmdlExecute(Load(Graph(nodes)), input.Get(), output.Get()), 0) << Reason();
    return output.Read(0);
  }
};

Values Ramp(size_t count) {
  Values values(count);
  for (size_t i = 0; i < count; ++i) {
    values[i] = static_cast<float>(i % 7) - 2.5F * static_cast<float>(i % 3);
  }
  return values;
}

Values Transposed(const Values& matrix, size_t rows) {
  size_t columns = matrix.size() / rows;
  Values result(matrix.size());
  for (size_t i = 0; i < matrix.size(); ++i) {
    result[(i % columns) * rows + i / columns] = matrix[i];
  }
  return result;
}

TEST_F(OperatorTest, MatMulIsTheSameForEveryTileAndStorage) {
  constexpr size_t ROWS = 5;
  constexpr size_t DEPTH = 9;
  constexpr size_t COLUMNS = 7;
  const Values left = Ramp(ROWS * DEPTH);
  const Values right = Ramp(DEPTH * COLUMNS);
  Values expected(ROWS * COLUMNS);
  for (size_t i = 0; i < expected.size(); ++i) {
    for (size_t k = 0; k < DEPTH; ++k) {
      expected[i] += left[i / COLUMNS * DEPTH + k] * right[k * COLUMNS + i % COLUMNS];
    }
  }
  for (int variant = 0; variant < 16; ++variant) {
    bool isLeftTransposed = (variant & 1) != 0;
    bool isRightTransposed = (variant & 2) != 0;
    const int tile = (variant >> 2) * 2;  // 0, 2, 4, 6: none divides every dimension
    std::string attrs = "\"tile\": " + std::to_string(tile);
    attrs += isLeftTransposed ? ", \"transpose_a\": true" : "";
    attrs += isRightTransposed ? ", \"transpose_b\": true" : "";
    using Shape = std::vector<int64_t>;
    EXPECT_THAT(Run("MatMul",
                    {isLeftTransposed ? Shape{DEPTH, ROWS} : Shape{ROWS, DEPTH},
                     isRightTransposed ? Shape{COLUMNS, DEPTH} : Shape{DEPTH, COLUMNS}},
                    {isLeftTransposed ? Transposed(left, ROWS) : left,
                     isRightTransposed ? Transposed(right, DEPTH) : right},
                    {ROWS, COLUMNS}, attrs),
                Pointwise(FloatNear(1e-4F), expected))
        << attrs;
  }
}

TEST_F(OperatorTest, ElementwiseOperatorsRepeatTheSmallerSide) {
  const Values whole = {1, -2, 3, 4, -5, 6};
  EXPECT_THAT(Run("Add", {{2, 3}, {3}}, {whole, {10, 20, 30}}, {2, 3}),
              ElementsAre(11, 18, 33, 14, 15, 36));
  EXPECT_THAT(Run("Mul", {{2, 3}, {2, 3}}, {whole, {1, 2, 3, 4, 5, 6}}, {2, 3}),
              ElementsAre(1, -4, 9, 16, -25, 36));
  EXPECT_THAT(Run("Relu", {{2, 3}}, {whole}, {2, 3}), ElementsAre(1, 0, 3, 4, 0, 6));
}

TEST_F(OperatorTest, SoftmaxOfEachRowIsSafeForLargeValues) {
  const float e = std::exp(-1.0F);
  const Values expected = {0.5F, 0.5F, 1 / (1 + e), e / (1 + e)};
  EXPECT_THAT(Run("Softmax", {{2, 2}}, {{3, 3, 1000, 999}}, {2, 2}),
              Pointwise(FloatNear(1e-6F), expected));
}

TEST_F(OperatorTest, LayerNormScalesEachRowToUnitVariance) {
  const Values rows = {1, 3, -10, -30};
  EXPECT_THAT(Run("LayerNorm", {{2, 2}}, {rows}, {2, 2}),
              Pointwise(FloatNear(1e-4F), {-1, 1, 1, -1}));
  // Variance 1 and epsilon 3 make a scale of 1/2.
  EXPECT_THAT(
      Run("LayerNorm", {{1, 2}, {2}, {2}}, {{1, 3}, {2, 4}, {10, 20}}, {1, 2}, "\"epsilon\": 3"),
      Pointwise(FloatNear(1e-6F), {9, 22}));
}

TEST_F(OperatorTest, AConstHasTheValuesThatAreListed) {
  FloatDataset input({});
  FloatDataset output({Values(3)});
  uint32_t id = Load(Graph({Node("c", "Const", "", {3}, "\"values\": [1, 2.5, -3]"),
                            Node("copy", "Spin", "\"c\"", {3}, "\"ns\": 0")}));
  EXPECT_EQ(zelmdlExecute(id, input.Get(), output.Get()), 0) << Reason();
  EXPECT_THAT(output.Read(0), ElementsAre(1, 2.5, -3));
}

}  // namespace
}  // namespace Ormo::Testing
