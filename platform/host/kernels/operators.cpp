#include "kernels/operators.h"

#include <algorithm>

namespace OrmoHost {
namespace {

// The shape that all inputs must have in common with the first, counted from the last dimension.
void RequireTrailing(const GraphNode& node, const Shape& whole, const Shape& part) {
  bool isTrailing =
      part.size() <= whole.size() && std::equal(part.rbegin(), part.rend(), whole.rbegin());
  if (!isTrailing) {
    throw GraphError(node.name, "inputs",
                     "a second shape that is the first, " + ToText(whole) +
                         ", or its last dimensions; not " + ToText(part));
  }
}

Shape InferElementwise(const GraphNode& node, const std::vector<Shape>& inputs) {
  RequireTrailing(node, inputs[0], inputs.back());
  return inputs[0];
}

Shape InferMatMul(const GraphNode& node, const std::vector<Shape>& inputs) {
  if (inputs[0].size() != 2 || inputs[1].size() != 2) {
    throw GraphError(node.name, "inputs", "two matrices");
  }
  bool isLeftTransposed = GetFlag(node, "transpose_a");
  bool isRightTransposed = GetFlag(node, "transpose_b");
  GetInt(node, "tile", 0);
  int64_t leftDepth = inputs[0][isLeftTransposed ? 0 : 1];
  int64_t rightDepth = inputs[1][isRightTransposed ? 1 : 0];
  if (leftDepth != rightDepth) {
    throw GraphError(
        node.name, "inputs",
        "equal inner dimensions; not " + ToText(inputs[0]) + " and " + ToText(inputs[1]));
  }
  return {inputs[0][isLeftTransposed ? 1 : 0], inputs[1][isRightTransposed ? 0 : 1]};
}

Shape InferLayerNorm(const GraphNode& node, const std::vector<Shape>& inputs) {
  GetNumber(node, "epsilon", 0);
  if (inputs.size() == 2) {
    throw GraphError(node.name, "inputs", "one input, or three: the values, gamma and beta");
  }
  for (size_t i = 1; i < inputs.size(); ++i) {
    if (inputs[i] != Shape{inputs[0].back()}) {
      throw GraphError(node.name, "inputs", "gamma and beta of the last dimension's length");
    }
  }
  return inputs[0];
}

Shape InferSpin(const GraphNode& node, const std::vector<Shape>& inputs) {
  if (GetInt(node, "ns", UNKNOWN_DIM) == UNKNOWN_DIM) {
    throw GraphError(node.name, "ns", "nanoseconds to be busy for");
  }
  if (inputs.empty() && HasUnknownDim(node.output.shape)) {
    throw GraphError(node.name, "shape", "known dimensions, since there is no input");
  }
  return inputs.empty() ? node.output.shape : inputs[0];
}

const Operator OPERATORS[] = {
    {"MatMul", 2, 2, true, {"tile", "transpose_a", "transpose_b"}, InferMatMul, MakeMatMul},
    {"Add", 2, 2, true, {}, InferElementwise, MakeAdd},
    {"Mul", 2, 2, true, {}, InferElementwise, MakeMul},
    {"Relu", 1, 1, true, {}, InferElementwise, MakeRelu},
    {"Softmax", 1, 1, true, {}, InferElementwise, MakeSoftmax},
    {"LayerNorm", 1, 3, true, {"epsilon"}, InferLayerNorm, MakeLayerNorm},
    {"Spin", 0, 1, false, {"ns"}, InferSpin, MakeSpin},
};

}  // namespace

const Operator* FindOperator(const std::string& type) {
  for (const Operator& op : OPERATORS) {
    if (type == op.type) {
      return &op;
    }
  }
  return nullptr;
}

std::string KnownOperators() {
  std::string names = "Data, Const";
  for (const Operator& op : OPERATORS) {
    names += std::string(", ") + op.type;
  }
  return names;
}

}  // namespace OrmoHost
