#include "models/program.h"

#include <algorithm>
#include <utility>

#include "services/raw_clock.h"
#include "zel/zel_mdl.h"

namespace OrmoHost {
namespace {

// Tensors start at multiples of this in work and weight memory.
constexpr size_t TENSOR_ALIGNMENT = 64;

bool IsStep(const GraphNode& node) {
  return node.type != DATA_TYPE && node.type != CONST_TYPE;
}

// Adds a tensor to an area of `total` bytes and returns its offset.
size_t Append(size_t& total, const TensorSpec& spec, const std::string& node) {
  size_t offset = total;
  size_t bytes = CountBytes(spec, node);
  bytes += (TENSOR_ALIGNMENT - bytes % TENSOR_ALIGNMENT) % TENSOR_ALIGNMENT;
  if (__builtin_add_overflow(total, bytes, &total)) {
    throw GraphError(node, "outputs", "a model of fewer bytes");
  }
  return offset;
}

TensorSpec WithShape(TensorSpec spec, Shape shape) {
  spec.shape = std::move(shape);
  return spec;
}

// An attribute that no rule knows is a mistake, unless it is a text: those are for other tools.
void CheckAttrs(const GraphNode& node, const std::vector<std::string>& known) {
  for (const auto& [key, value] : node.attrs) {
    bool isText = std::holds_alternative<std::string>(value);
    if (!isText && std::find(known.begin(), known.end(), key) == known.end()) {
      throw GraphError(node.name, key, "no such attribute of " + node.type);
    }
  }
}

void CheckSource(const GraphNode& node) {
  if (!node.inputs.empty()) {
    throw GraphError(node.name, "inputs", "none for " + node.type);
  }
  if (node.type == DATA_TYPE) {
    CheckAttrs(node, {});
    return;
  }
  CheckAttrs(node, {"values", "fill", "seed"});
  if (node.output.dataType != ox::DT_FLOAT || HasUnknownDim(node.output.shape)) {
    throw GraphError(node.name, "outputs", "float32 of known dimensions for Const");
  }
  CheckConst(node);
}

const Operator& RequireOperator(const GraphNode& node) {
  const Operator* op = FindOperator(node.type);
  if (op == nullptr) {
    throw GraphError(node.name, "type", "one of " + KnownOperators());
  }
  if (node.inputs.size() < op->fewestInputs || node.inputs.size() > op->mostInputs) {
    std::string count = std::to_string(op->fewestInputs);
    count += op->mostInputs == op->fewestInputs ? "" : " to " + std::to_string(op->mostInputs);
    throw GraphError(node.name, "inputs", count + " for " + node.type);
  }
  return *op;
}

}  // namespace

Program::Program(Graph graph) : graph_(std::move(graph)) {
  for (size_t i = 0; i < graph_.nodes.size(); ++i) {
    CheckNode(i);
  }
  SortNodes();
  CheckDynamic();
}

void Program::CheckNode(size_t index) const {
  const GraphNode& node = graph_.nodes[index];
  if (!IsStep(node)) {
    CheckSource(node);
    return;
  }
  const Operator& op = RequireOperator(node);
  CheckAttrs(node, op.attrs);
  std::vector<Shape> shapes;
  for (size_t input : node.inputs) {
    const TensorSpec& spec = graph_.nodes[input].output;
    bool isFitting = spec.dataType == (op.isFloatOnly ? ox::DT_FLOAT : node.output.dataType);
    if (!isFitting) {
      throw GraphError(node.name, "inputs", op.isFloatOnly ? "float32" : "the output's dtype");
    }
    shapes.push_back(spec.shape);
  }
  if (op.isFloatOnly && node.output.dataType != ox::DT_FLOAT) {
    throw GraphError(node.name, "dtype", "float32 for " + node.type);
  }
  Shape inferred = op.infer(node, shapes);
  if (inferred != node.output.shape) {
    throw GraphError(node.name, "shape", ToText(inferred));
  }
}

void Program::SortNodes() {
  std::vector<bool> isRead(graph_.nodes.size());
  for (const GraphNode& node : graph_.nodes) {
    for (size_t input : node.inputs) {
      isRead[input] = true;
    }
  }
  fixedLocations_.resize(graph_.nodes.size());
  for (size_t i = 0; i < graph_.nodes.size(); ++i) {
    const GraphNode& node = graph_.nodes[i];
    if (node.type == DATA_TYPE) {
      fixedLocations_[i] = {Location::Area::INPUT, inputs_.size()};
      inputs_.push_back(i);
      inputShapes_.push_back(node.output.shape);
    } else if (node.type == CONST_TYPE) {
      fixedLocations_[i] = {Location::Area::WEIGHT, Append(weightBytes_, node.output, node.name)};
    } else {
      labels_.push_back({node.name, node.type});
      if (!isRead[i]) {
        fixedLocations_[i] = {Location::Area::OUTPUT, outputs_.size()};
        outputs_.push_back(i);
      }
    }
  }
  if (outputs_.empty()) {
    throw GraphError("", "nodes", "at least one node besides Data and Const");
  }
}

void Program::CheckDynamic() const {
  if (graph_.dynamicKind == DynamicKind::NONE) {
    return;
  }
  size_t unknown = 0;
  for (size_t input : inputs_) {
    const GraphNode& node = graph_.nodes[input];
    const Shape& shape = node.output.shape;
    auto count = static_cast<size_t>(std::count(shape.begin(), shape.end(), UNKNOWN_DIM));
    unknown += count;
    if (graph_.dynamicKind == DynamicKind::BATCH && count != (shape[0] == UNKNOWN_DIM ? 1 : 0)) {
      throw GraphError(node.name, "shape", "-1 at most as the first dimension (dynamic batch)");
    }
    if (graph_.dynamicKind == DynamicKind::IMAGE && count != 0 && count != 2) {
      throw GraphError(node.name, "shape", "-1 twice or never (dynamic image)");
    }
    if (node.name == ZEL_DYNAMIC_TENSOR_NAME) {
      throw GraphError(node.name, "name", "another name: this is the setting's");
    }
  }
  if (unknown == 0) {
    throw GraphError("", "dynamic", "an input with a dimension of -1");
  }
  size_t length = graph_.dynamicKind == DynamicKind::DIMS    ? unknown
                  : graph_.dynamicKind == DynamicKind::IMAGE ? 2
                                                             : 1;
  for (const Setting& setting : graph_.settings) {
    if (setting.size() != length) {
      throw GraphError("", "dynamic", "settings of " + std::to_string(length) + " values");
    }
  }
}

std::vector<TensorDescription> Program::Describe(const std::vector<size_t>& nodes) const {
  std::vector<TensorDescription> tensors;
  for (size_t index : nodes) {
    const GraphNode& node = graph_.nodes[index];
    size_t bytes = HasUnknownDim(node.output.shape) ? 0 : CountBytes(node.output, node.name);
    tensors.push_back({node.name, bytes, node.output});
  }
  return tensors;
}

std::vector<Shape> Program::ApplySetting(const Setting& setting) const {
  std::vector<Shape> shapes = inputShapes_;
  size_t next = 0;
  for (Shape& shape : shapes) {
    // Batch and image are the same for all inputs; other dimensions are counted through.
    next = graph_.dynamicKind == DynamicKind::DIMS ? next : 0;
    for (int64_t& dim : shape) {
      dim = dim == UNKNOWN_DIM ? setting[next++] : dim;
    }
  }
  return shapes;
}

bool Program::IsStatic() const {
  return std::none_of(inputShapes_.begin(), inputShapes_.end(), HasUnknownDim);
}

Plan Program::MakePlan(const std::vector<Shape>& inputShapes) const {
  Plan plan;
  std::vector<Shape> shapes;
  std::vector<Location> locations = fixedLocations_;
  for (size_t i = 0; i < graph_.nodes.size(); ++i) {
    const GraphNode& node = graph_.nodes[i];
    if (node.type == DATA_TYPE) {
      shapes.push_back(inputShapes[plan.inputBytes.size()]);
      plan.inputBytes.push_back(CountBytes(WithShape(node.output, shapes.back()), node.name));
      continue;
    }
    if (node.type == CONST_TYPE) {
      shapes.push_back(node.output.shape);
      continue;
    }
    Step step;
    NodeShapes nodeShapes{node, {}, {}};
    for (size_t input : node.inputs) {
      nodeShapes.inputs.push_back(shapes[input]);
      step.inputs.push_back(locations[input]);
    }
    const Operator& op = *FindOperator(node.type);
    nodeShapes.output = op.infer(node, nodeShapes.inputs);
    TensorSpec output = WithShape(node.output, nodeShapes.output);
    if (locations[i].area == Location::Area::OUTPUT) {
      plan.outputBytes.push_back(CountBytes(output, node.name));
      plan.outputs.push_back(output);
    } else {
      locations[i].place = Append(plan.workBytes, output, node.name);
    }
    step.output = locations[i];
    step.kernel = op.makeKernel(nodeShapes);
    plan.steps.push_back(std::move(step));
    shapes.push_back(std::move(nodeShapes.output));
  }
  return plan;
}

void Program::FillWeights(std::byte* weights) const {
  for (size_t i = 0; i < graph_.nodes.size(); ++i) {
    const GraphNode& node = graph_.nodes[i];
    if (node.type == CONST_TYPE) {
      FillConst(node, CountElements(node.output.shape, node.name),
                reinterpret_cast<float*>(weights + fixedLocations_[i].place));
    }
  }
}

namespace {

const void* ResolveInput(const Location& location, const Areas& areas) {
  switch (location.area) {
    case Location::Area::INPUT:
      return areas.inputs[location.place];
    case Location::Area::WEIGHT:
      return areas.weights + location.place;
    default:
      return areas.work + location.place;
  }
}

void Resolve(const Step& step, const Areas& areas, Operands& operands) {
  operands.inputs.clear();
  for (const Location& input : step.inputs) {
    operands.inputs.push_back(ResolveInput(input, areas));
  }
  bool isOutput = step.output.area == Location::Area::OUTPUT;
  operands.output = isOutput ? areas.outputs[step.output.place] : areas.work + step.output.place;
}

}  // namespace

void Run(const Plan& plan, const Areas& areas) {
  Operands operands;
  for (const Step& step : plan.steps) {
    Resolve(step, areas, operands);
    step.kernel(operands);
  }
}

uint64_t RunTimed(const Plan& plan, const Areas& areas, uint64_t start,
                  std::vector<StepTiming>& timings) {
  Operands operands;
  for (size_t i = 0; i < plan.steps.size(); ++i) {
    start = std::max(ReadRawClock(), start);
    Resolve(plan.steps[i], areas, operands);
    uint64_t coreStart = ReadRawClock();
    plan.steps[i].kernel(operands);
    uint64_t coreEnd = ReadRawClock();
    timings.push_back(EndStep(static_cast<uint32_t>(i), start, coreEnd - coreStart));
    start = timings.back().end;
  }
  return start;
}

}  // namespace OrmoHost
