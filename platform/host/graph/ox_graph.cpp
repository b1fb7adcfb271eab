#include "graph/ox_graph.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "graph/graph_file.h"
#include "graph/report.h"
#include "ox/graph_utils.h"
#include "seam/host_call.h"

namespace OrmoHost {
namespace {

ox::OxTensorDesc MakeDesc(const TensorSpec& spec) {
  return {ox::OxShape(spec.shape), spec.format, spec.dataType};
}

std::shared_ptr<ox::Node> MakeNode(const Graph& graph, const GraphNode& node) {
  auto desc = std::make_shared<ox::OpDesc>();
  std::vector<std::string> inputs;
  for (size_t input : node.inputs) {
    inputs.push_back(graph.nodes[input].name);
    desc->AddInputDesc(MakeDesc(graph.nodes[input].output));
  }
  if (node.type == DATA_TYPE) {
    desc->AddInputDesc(MakeDesc(node.output));
  }
  desc->SetOutputDesc(MakeDesc(node.output));
  for (const auto& [key, value] : node.attrs) {
    desc->SetAttr(key, value);
  }
  return std::make_shared<ox::Node>(node.name, node.type, std::move(desc), std::move(inputs));
}

TensorSpec MakeSpec(const ox::OxTensorDesc& desc, const std::string& node) {
  TensorSpec spec{desc.GetShape().GetDims(), desc.GetDataType(), desc.GetFormat()};
  bool hasDims =
      !spec.shape.empty() && std::all_of(spec.shape.begin(), spec.shape.end(),
                                         [](int64_t dim) { return dim > 0 || dim == UNKNOWN_DIM; });
  if (!hasDims) {
    throw GraphError(node, "shape", "a list of dimensions, each positive or -1");
  }
  if (ElementSize(spec.dataType) == 0) {
    throw GraphError(node, "dtype", "a type with a size");
  }
  return spec;
}

GraphNode MakeGraphNode(const ox::Node& node, const std::map<std::string, size_t>& known) {
  const std::string& name = node.GetName();
  if (name.empty() || name.size() > MAX_NAME_LENGTH || known.count(name) != 0) {
    throw GraphError(name, "name", "a text of 1 to 255 bytes that names no other node");
  }
  if (node.GetOpDesc() == nullptr) {
    throw GraphError(name, "", "a description of the operator");
  }
  GraphNode made;
  made.name = name;
  made.type = node.GetType();
  for (const std::string& input : node.GetInputNames()) {
    auto found = known.find(input);
    if (found == known.end()) {
      throw GraphError(name, "inputs", "names of nodes that stand before this one");
    }
    made.inputs.push_back(found->second);
  }
  made.output = MakeSpec(node.GetOpDesc()->GetOutputDesc(), name);
  made.attrs = node.GetOpDesc()->GetAllAttrs();
  return made;
}

}  // namespace

std::shared_ptr<ox::ComputeGraph> MakeComputeGraph(const Graph& graph) {
  std::vector<std::shared_ptr<ox::Node>> nodes;
  for (const GraphNode& node : graph.nodes) {
    nodes.push_back(MakeNode(graph, node));
  }
  return std::make_shared<ox::ComputeGraph>(std::move(nodes));
}

Graph MakeGraph(const ox::ComputeGraph& computeGraph) {
  Graph graph;
  std::map<std::string, size_t> known;
  for (const std::shared_ptr<ox::Node>& node : computeGraph.GetDirectNode()) {
    graph.nodes.push_back(MakeGraphNode(*node, known));
    known.emplace(node->GetName(), known.size());
  }
  return graph;
}

}  // namespace OrmoHost

namespace ox {

int64_t GetSizeInBytes(int64_t count, DataType dataType) {
  constexpr int64_t NO_SIZE = -1;
  if (OrmoHost::HostCall("GetSizeInBytes").Fails() != OrmoHost::SUCCESS) {
    return NO_SIZE;
  }
  auto elementSize = static_cast<int64_t>(OrmoHost::ElementSize(dataType));
  int64_t size = NO_SIZE;
  bool isTooLarge = __builtin_mul_overflow(count, elementSize, &size);
  return count < 0 || elementSize == 0 || isTooLarge ? NO_SIZE : size;
}

bool AttrUtils::GetStr(const std::shared_ptr<OpDesc>& desc, const std::string& key,
                       std::string& value) {
  auto found = desc->GetAllAttrs().find(key);
  const std::string* text =
      found == desc->GetAllAttrs().end() ? nullptr : std::get_if<std::string>(&found->second);
  if (text == nullptr) {
    return false;
  }
  value = *text;
  return true;
}

// What nodes compute stays unchecked: a graph of kernels need not be one of this platform's
// operators.
bool GraphUtils::LoadOXGraph(const char* file, std::shared_ptr<ComputeGraph>& graph) {
  return OrmoHost::Attempt("GraphUtils::LoadOXGraph", [&] {
    OrmoHost::Require(file != nullptr, OrmoHost::INVALID_ARGUMENT);
    graph = OrmoHost::Reporting(OrmoHost::MODEL_REFUSED, file, OrmoHost::INVALID_MODEL, [&] {
      return OrmoHost::MakeComputeGraph(OrmoHost::ParseGraph(OrmoHost::ReadGraphText(file)));
    });
    return true;
  });
}

std::shared_ptr<ComputeGraph> GraphUtilsEx::GetComputeGraph(const Graph& graph) {
  return OrmoHost::Attempt("GraphUtilsEx::GetComputeGraph", [&] { return graph.GetContent(); });
}

}  // namespace ox
