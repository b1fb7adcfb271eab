#include <algorithm>
#include <cmath>
#include <cstring>

#include "kernels/operators.h"
#include "services/raw_clock.h"

namespace OrmoHost {
namespace {

constexpr double DEFAULT_EPSILON = 1e-5;

size_t Count(const NodeShapes& shapes, const Shape& shape) {
  return CountElements(shape, shapes.node.name);
}

// `output[i] = function(left[i], right[i])`, the right side repeated when it is shorter.
template <typename Function>
Kernel MakeBinary(const NodeShapes& shapes, Function function) {
  size_t period = Count(shapes, shapes.inputs[1]);
  size_t periods = Count(shapes, shapes.inputs[0]) / period;
  return [=](const Operands& operands) {
    const float* left = operands.Input(0);
    const float* right = operands.Input(1);
    float* output = operands.Output();
    for (size_t p = 0; p < periods; ++p, left += period, output += period) {
      for (size_t i = 0; i < period; ++i) {
        output[i] = function(left[i], right[i]);
      }
    }
  };
}

// A kernel that treats every row, the last dimension, on its own.
template <typename Function>
Kernel MakeByRow(const NodeShapes& shapes, Function function) {
  auto width = static_cast<size_t>(shapes.inputs[0].back());
  size_t rows = Count(shapes, shapes.inputs[0]) / width;
  return [=](const Operands& operands) {
    for (size_t row = 0; row < rows; ++row) {
      function(operands, operands.Input(0) + row * width, operands.Output() + row * width, width);
    }
  };
}

void SoftmaxRow(const Operands& /*operands*/, const float* row, float* output, size_t width) {
  float largest = *std::max_element(row, row + width);
  float sum = 0;
  for (size_t i = 0; i < width; ++i) {
    output[i] = std::exp(row[i] - largest);
    sum += output[i];
  }
  for (size_t i = 0; i < width; ++i) {
    output[i] /= sum;
  }
}

void LayerNormRow(const Operands& operands, const float* row, float* output, size_t width,
                  float epsilon) {
  auto count = static_cast<float>(width);
  float mean = 0;
  for (size_t i = 0; i < width; ++i) {
    mean += row[i] / count;
  }
  float variance = 0;
  for (size_t i = 0; i < width; ++i) {
    variance += (row[i] - mean) * (row[i] - mean) / count;
  }
  float scale = 1 / std::sqrt(variance + epsilon);
  bool isAffine = operands.inputs.size() > 1;
  for (size_t i = 0; i < width; ++i) {
    float normal = (row[i] - mean) * scale;
    output[i] = isAffine ? normal * operands.Input(1)[i] + operands.Input(2)[i] : normal;
  }
}

}  // namespace

Kernel MakeAdd(const NodeShapes& shapes) {
  return MakeBinary(shapes, [](float left, float right) { return left + right; });
}

Kernel MakeMul(const NodeShapes& shapes) {
  return MakeBinary(shapes, [](float left, float right) { return left * right; });
}

Kernel MakeRelu(const NodeShapes& shapes) {
  size_t count = Count(shapes, shapes.output);
  return [=](const Operands& operands) {
    for (size_t i = 0; i < count; ++i) {
      operands.Output()[i] = std::max(operands.Input(0)[i], 0.0F);
    }
  };
}

Kernel MakeSoftmax(const NodeShapes& shapes) {
  return MakeByRow(shapes, SoftmaxRow);
}

Kernel MakeLayerNorm(const NodeShapes& shapes) {
  auto epsilon = static_cast<float>(GetNumber(shapes.node, "epsilon", DEFAULT_EPSILON));
  return MakeByRow(shapes,
                   [=](const Operands& operands, const float* row, float* output, size_t width) {
                     LayerNormRow(operands, row, output, width, epsilon);
                   });
}

Kernel MakeSpin(const NodeShapes& shapes) {
  const GraphNode& node = shapes.node;
  auto time = static_cast<uint64_t>(GetInt(node, "ns", 0));
  size_t bytes = CountBytes({shapes.output, node.output.dataType, node.output.format}, node.name);
  return [=](const Operands& operands) {
    uint64_t start = ReadRawClock();
    if (operands.inputs.empty()) {
      std::memset(operands.output, 0, bytes);
    } else {
      std::memcpy(operands.output, operands.inputs[0], bytes);
    }
    while (ReadRawClock() - start < time) {
    }
  };
}

}  // namespace OrmoHost
