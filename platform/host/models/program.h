/// \file
/// A graph made ready to run.
#ifndef ORMO_HOST_MODELS_PROGRAM_H
#define ORMO_HOST_MODELS_PROGRAM_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "graph/graph.h"
#include "kernels/operators.h"
#include "profiling/timing.h"

namespace OrmoHost {

/// Where a tensor lies at execution.
struct Location {
  enum class Area { INPUT, OUTPUT, WORK, WEIGHT };

  Area area = Area::WORK;
  size_t place = 0;  ///< number of the input or output, else an offset in bytes
};

/// One operator of a plan.
struct Step {
  Kernel kernel;
  std::vector<Location> inputs;
  Location output;
};

/// How to run a program for certain input shapes.
struct Plan {
  std::vector<size_t> inputBytes;
  std::vector<size_t> outputBytes;
  std::vector<TensorSpec> outputs;
  size_t workBytes = 0;
  std::vector<Step> steps;
};

/// An input or output as declared.
struct TensorDescription {
  std::string name;
  size_t bytes;  ///< 0: depends on shapes that come with the execution
  TensorSpec spec;
};

/// A graph whose nodes fit each other, split into inputs (Data), weights (Const) and steps (all
/// other nodes, in order). The nodes that no other node reads are the outputs.
class Program {
 public:
  /// Throws a GraphError when a node breaks its operator's rules.
  explicit Program(Graph graph);

  /// The input shapes as declared.
  const std::vector<Shape>& InputShapes() const { return inputShapes_; }

  std::vector<TensorDescription> DeclaredInputs() const { return Describe(inputs_); }

  std::vector<TensorDescription> DeclaredOutputs() const { return Describe(outputs_); }

  const std::vector<StepLabel>& StepLabels() const { return labels_; }

  DynamicKind Dynamic() const { return graph_.dynamicKind; }

  const std::vector<Setting>& Settings() const { return graph_.settings; }

  /// The declared input shapes with the values of a setting in place of their unknown dimensions.
  std::vector<Shape> ApplySetting(const Setting& setting) const;

  /// Whether all shapes are known without a setting or a shape from the caller.
  bool IsStatic() const;

  /// Throws a GraphError when shapes do not fit.
  Plan MakePlan(const std::vector<Shape>& inputShapes) const;

  size_t WeightBytes() const { return weightBytes_; }

  void FillWeights(std::byte* weights) const;

 private:
  void CheckNode(size_t index) const;
  void CheckDynamic() const;
  void SortNodes();
  std::vector<TensorDescription> Describe(const std::vector<size_t>& nodes) const;

  Graph graph_;
  std::vector<size_t> inputs_;  ///< indices of the Data nodes
  std::vector<size_t> outputs_;
  std::vector<Shape> inputShapes_;
  std::vector<StepLabel> labels_;
  std::vector<Location> fixedLocations_;  ///< by node: of inputs, weights and outputs
  size_t weightBytes_ = 0;
};

/// The memory that a plan runs on.
struct Areas {
  std::vector<const std::byte*> inputs;
  std::vector<std::byte*> outputs;
  std::byte* work = nullptr;
  const std::byte* weights = nullptr;
};

/// Runs all steps on the calling thread.
void Run(const Plan& plan, const Areas& areas);
/// The same, and appends a timing for each step: none begins before `start`, or before the end of
/// the one before. Returns the end of the last.
uint64_t RunTimed(const Plan& plan, const Areas& areas, uint64_t start,
                  std::vector<StepTiming>& timings);

}  // namespace OrmoHost

#endif  // ORMO_HOST_MODELS_PROGRAM_H
