// The example networks give what their mathematics says: that is worked out here in double
// precision from the graph file alone.
#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>

#include "support/offline_test.h"

namespace Ormo::Testing {
namespace {

using Json = nlohmann::json;

struct Matrix {
  size_t rows = 1;
  size_t columns = 0;
  std::vector<double> values;

  double At(size_t row, size_t column) const { return values[row * columns + column]; }
};

using Inputs = std::vector<const Matrix*>;

Matrix Transpose(const Matrix& m) {
  Matrix result = {m.columns, m.rows, {}};
  for (size_t column = 0; column < m.columns; ++column) {
    for (size_t row = 0; row < m.rows; ++row) {
      result.values.push_back(m.At(row, column));
    }
  }
  return result;
}

Matrix MatMul(const Inputs& inputs, const Json& attrs) {
  const Matrix left = attrs.value("transpose_a", false) ? Transpose(*inputs[0]) : *inputs[0];
  const Matrix right = attrs.value("transpose_b", false) ? *inputs[1] : Transpose(*inputs[1]);
  Matrix result = {left.rows, right.rows, {}};
  for (size_t row = 0; row < left.rows; ++row) {
    const auto begin = left.values.begin() + static_cast<ptrdiff_t>(row * left.columns);
    for (size_t column = 0; column < right.rows; ++column) {
      result.values.push_back(std::inner_product(
          begin, begin + static_cast<ptrdiff_t>(left.columns),
          right.values.begin() + static_cast<ptrdiff_t>(column * right.columns), 0.0));
    }
  }
  return result;
}

// `function(left, right)` of each element, the right side repeated.
template <typename Function>
Matrix Combine(const Inputs& inputs, Function function) {
  Matrix result = *inputs[0];
  const std::vector<double>& right = inputs.back()->values;
  for (size_t index = 0; index < result.values.size(); ++index) {
    result.values[index] = function(result.values[index], right[index % right.size()]);
  }
  return result;
}

// `function` changes every row from `begin` to `end`.
template <typename Function>
Matrix ByRow(const Matrix& input, Function function) {
  Matrix result = input;
  for (size_t row = 0; row < result.rows; ++row) {
    double* begin = &result.values[row * result.columns];
    function(begin, begin + result.columns);
  }
  return result;
}

Matrix Softmax(const Inputs& inputs, const Json&) {
  return ByRow(*inputs[0], [](double* begin, double* end) {
    std::transform(begin, end, begin, [](double value) { return std::exp(value); });
    const double sum = std::accumulate(begin, end, 0.0);
    std::transform(begin, end, begin, [sum](double value) { return value / sum; });
  });
}

void Normalise(double* begin, double* end, double epsilon) {
  const auto count = static_cast<double>(end - begin);
  const double mean = std::accumulate(begin, end, 0.0) / count;
  std::transform(begin, end, begin, [mean](double value) { return value - mean; });
  const double variance = std::inner_product(begin, end, begin, 0.0) / count;
  std::transform(begin, end, begin,
                 [&](double value) { return value / std::sqrt(variance + epsilon); });
}

Matrix Add(const Inputs& inputs, const Json&) {
  return Combine(inputs, [](double left, double right) { return left + right; });
}

Matrix Mul(const Inputs& inputs, const Json&) {
  return Combine(inputs, [](double left, double right) { return left * right; });
}

Matrix Relu(const Inputs& inputs, const Json&) {
  return Combine(inputs, [](double value, double) { return std::max(value, 0.0); });
}

Matrix LayerNorm(const Inputs& inputs, const Json& attrs) {
  const double epsilon = attrs.at("epsilon");
  Matrix result =
      ByRow(*inputs[0], [epsilon](double* begin, double* end) { Normalise(begin, end, epsilon); });
  result = Mul({&result, inputs.at(1)}, {});
  return Add({&result, inputs.at(2)}, {});
}

const std::map<std::string, Matrix (*)(const Inputs&, const Json&)> OPERATORS = {
    {"MatMul", MatMul}, {"Add", Add},         {"Mul", Mul},
    {"Relu", Relu},     {"Softmax", Softmax}, {"LayerNorm", LayerNorm},
};

// `count` numbers in [-1, 1), exact in single precision: the generator of the graph file's `seed`.
std::vector<double> Generate(uint64_t seed, size_t count) {
  std::vector<double> values;
  values.reserve(count);
  for (size_t index = 0; index < count; ++index) {
    uint64_t bits = seed + (index + 1) * 0x9E3779B97F4A7C15;
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
    bits ^= bits >> 31;
    values.push_back(static_cast<double>(bits >> 40) / 8388608.0 - 1.0);
  }
  return values;
}

Matrix ReadConst(const Json& node) {
  const Json& shape = node.at("outputs").at(0).at("shape");
  const Json& attrs = node.at("attrs");
  Matrix result = {
      shape.size() > 1 ? shape.front().get<size_t>() : 1, shape.back().get<size_t>(), {}};
  const size_t count = result.rows * result.columns;
  result.values = attrs.contains("seed") ? Generate(attrs["seed"].get<uint64_t>(), count)
                                         : std::vector<double>(count, attrs.at("fill"));
  return result;
}

// The last node's values for one input of `rows` rows; that is also what an unknown first dimension
// becomes.
std::vector<double> ComputeNetwork(const std::string& graph, const std::vector<double>& input,
                                   size_t rows) {
  std::map<std::string, Matrix> results;
  const Matrix* last = nullptr;
  const Json root = Json::parse(graph);
  for (const Json& node : root.at("nodes")) {
    const std::string type = node.at("type");
    Matrix& result = results[node.at("name")];
    last = &result;
    if (type == "Data") {
      result = {rows, input.size() / rows, input};
    } else if (type == "Const") {
      result = ReadConst(node);
    } else {
      Inputs inputs;
      for (const std::string name : node.at("inputs")) {
        inputs.push_back(&results.at(name));
      }
      result = OPERATORS.at(type)(inputs, node.value("attrs", Json::object()));
    }
  }
  return last->values;
}

constexpr uint64_t INPUT_SEED = 4711;
constexpr double TOLERANCE = 1e-5;

class NetworksTest : public OfflineTest {
 protected:
  static std::string ReadExample(const std::string& name) {
    return ReadFile(ORMO_EXAMPLES_DIR "/" + name);
  }

  // The largest error, relative to the largest expected value.
  static double CompareOutputs(const std::vector<float>& outputs,
                               const std::vector<double>& expected) {
    double error = 0;
    double largest = 0;
    for (size_t index = 0; index < expected.size(); ++index) {
      error = std::max(error, std::abs(static_cast<double>(outputs[index]) - expected[index]));
      largest = std::max(largest, std::abs(expected[index]));
    }
    return error / largest;
  }

  static std::vector<float> Run(RunnerConfig config, const std::string& graph, size_t outputSize) {
    std::vector<float> outputs(outputSize, std::nanf(""));
    config.modelData = AsBuffer(graph);
    config.outputs = {AsBuffer(outputs)};
    RunnerResult result;
    EXPECT_EQ(OrmoOfflineRun(config, result), STATUS_SUCCESS);
    return outputs;
  }

  // Runs every build of a network whose input has that shape and compares it with the reference.
  static void ExpectRightBuilds(const std::string& network, size_t rows, size_t columns) {
    Init();
    const std::vector<double> input = Generate(INPUT_SEED, rows * columns);
    const std::vector<float> data(input.begin(), input.end());
    const std::vector<double> expected =
        ComputeNetwork(ReadExample(network + "/tile-0.json"), input, rows);
    for (const char* tile : {"0", "64", "16", "8"}) {
      SCOPED_TRACE(tile);
      RunnerConfig config;
      config.inputs = {AsBuffer(data)};
      const std::string graph = ReadExample(network + "/tile-" + tile + ".json");
      EXPECT_LT(CompareOutputs(Run(config, graph, expected.size()), expected), TOLERANCE);
    }
  }
};

TEST_F(NetworksTest, ThePerceptronsProbabilities) {
  ExpectRightBuilds("perceptron", 64, 784);
}

TEST_F(NetworksTest, TheTransformerBlock) {
  ExpectRightBuilds("transformer", 64, 128);
}

}  // namespace
}  // namespace Ormo::Testing
