#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "control/host_call.h"
#include "graph/graph_file.h"
#include "models/report.h"
#include "ox/graph_utils.h"

namespace OrmoHost {
namespace {

std::shared_ptr<ox::Node> MakeNode(const GraphNode& node) {
  auto desc = std::make_shared<ox::OpDesc>();
  for (const auto& [key, value] : node.attrs) {
    if (const auto* text = std::get_if<std::string>(&value)) {
      ox::AttrUtils::SetStr(desc, key, *text);
    }
  }
  return std::make_shared<ox::Node>(node.name, node.type, std::move(desc));
}

/// What nodes compute stays unchecked: a graph of kernels need not be one of this platform's
/// operators.
std::shared_ptr<ox::ComputeGraph> ReadComputeGraph(const std::string& path) {
  std::vector<std::shared_ptr<ox::Node>> nodes;
  for (const GraphNode& node : ParseGraph(ReadGraphText(path)).nodes) {
    nodes.push_back(MakeNode(node));
  }
  return std::make_shared<ox::ComputeGraph>(std::move(nodes));
}

}  // namespace
}  // namespace OrmoHost

namespace ox {

bool AttrUtils::GetStr(const std::shared_ptr<OpDesc>& desc, const std::string& key,
                       std::string& value) {
  auto found = desc->texts_.find(key);
  if (found == desc->texts_.end()) {
    return false;
  }
  value = found->second;
  return true;
}

void AttrUtils::SetStr(const std::shared_ptr<OpDesc>& desc, const std::string& key,
                       const std::string& value) {
  desc->texts_[key] = value;
}

bool GraphUtils::LoadOXGraph(const char* file, std::shared_ptr<ComputeGraph>& graph) {
  return OrmoHost::Attempt("GraphUtils::LoadOXGraph", [&] {
    OrmoHost::Require(file != nullptr, OrmoHost::INVALID_ARGUMENT);
    graph = OrmoHost::Reporting(OrmoHost::MODEL_REFUSED, file, OrmoHost::INVALID_MODEL,
                                [&] { return OrmoHost::ReadComputeGraph(file); });
    return true;
  });
}

}  // namespace ox
