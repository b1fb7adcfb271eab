/// \file
/// The operators of the host: what they accept and what they compute.
#ifndef ORMO_HOST_KERNELS_OPERATORS_H
#define ORMO_HOST_KERNELS_OPERATORS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "graph/graph.h"

namespace OrmoHost {

/// What a kernel works on. Inputs and output never overlap.
struct Operands {
  std::vector<const void*> inputs;
  void* output = nullptr;

  const float* Input(size_t index) const { return static_cast<const float*>(inputs[index]); }

  float* Output() const { return static_cast<float*>(output); }
};

/// The arithmetic of one node, bound to concrete shapes: all checks and set-up are behind it.
using Kernel = std::function<void(const Operands&)>;

/// What is known of a node when its kernel is made.
struct NodeShapes {
  const GraphNode& node;
  std::vector<Shape> inputs;
  Shape output;
};

struct Operator {
  const char* type;
  size_t fewestInputs;
  size_t mostInputs;
  bool isFloatOnly;
  std::vector<std::string> attrs;
  /// The output's shape. Throws a GraphError for inputs or attributes that do not fit; an unknown
  /// dimension fits an unknown one.
  Shape (*infer)(const GraphNode& node, const std::vector<Shape>& inputs);
  Kernel (*makeKernel)(const NodeShapes& shapes);
};

/// Null for a type that the host does not know. Data and Const are nodes without a kernel.
const Operator* FindOperator(const std::string& type);
/// "Data, Const, MatMul, ...".
std::string KnownOperators();

/// Writes the elements of a Const node.
void FillConst(const GraphNode& node, size_t count, float* elements);
/// Throws a GraphError when the node does not say what its elements are.
void CheckConst(const GraphNode& node);

/// MatMul lives in a source of its own, the others share elementwise.cpp.
Kernel MakeMatMul(const NodeShapes& shapes);
Kernel MakeAdd(const NodeShapes& shapes);
Kernel MakeMul(const NodeShapes& shapes);
Kernel MakeRelu(const NodeShapes& shapes);
Kernel MakeSoftmax(const NodeShapes& shapes);
Kernel MakeLayerNorm(const NodeShapes& shapes);
Kernel MakeSpin(const NodeShapes& shapes);

}  // namespace OrmoHost

#endif  // ORMO_HOST_KERNELS_OPERATORS_H
