/// \file
/// The content of a graph: nodes, and what each of them is.
#ifndef OX_COMPUTE_GRAPH_H
#define OX_COMPUTE_GRAPH_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "ox/ox_tensor.h"

namespace ox {

using AttrValue = std::variant<bool, int64_t, double, std::string, std::vector<double>>;

/// Description of the operator that a node applies.
class OpDesc {
 public:
  /// Of what the operator reads; for a "Data" node, of what is given to the graph there.
  const std::vector<OxTensorDesc>& GetAllInputsDesc() const { return inputs_; }

  void AddInputDesc(OxTensorDesc desc) { inputs_.push_back(std::move(desc)); }

  /// Of what the operator computes.
  const OxTensorDesc& GetOutputDesc() const { return output_; }

  void SetOutputDesc(OxTensorDesc desc) { output_ = std::move(desc); }

  const std::map<std::string, AttrValue>& GetAllAttrs() const { return attrs_; }

  void SetAttr(const std::string& key, AttrValue value) { attrs_[key] = std::move(value); }

 private:
  std::vector<OxTensorDesc> inputs_;
  OxTensorDesc output_;
  std::map<std::string, AttrValue> attrs_;
};

class Node {
 public:
  /// `opDesc` may be null: the node is then only a name and a type. `inputs` names the nodes whose
  /// outputs it reads.
  Node(std::string name, std::string type, std::shared_ptr<OpDesc> opDesc,
       std::vector<std::string> inputs = {})
      : name_(std::move(name)),
        type_(std::move(type)),
        opDesc_(std::move(opDesc)),
        inputs_(std::move(inputs)) {}

  const std::string& GetName() const { return name_; }

  const std::string& GetType() const { return type_; }

  const std::shared_ptr<OpDesc>& GetOpDesc() const { return opDesc_; }

  const std::vector<std::string>& GetInputNames() const { return inputs_; }

 private:
  std::string name_;
  std::string type_;
  std::shared_ptr<OpDesc> opDesc_;
  std::vector<std::string> inputs_;
};

class ComputeGraph {
 public:
  ComputeGraph() = default;

  /// Each node stands behind those that it reads.
  explicit ComputeGraph(std::vector<std::shared_ptr<Node>> nodes) : nodes_(std::move(nodes)) {}

  /// The graph's own nodes, without those of graphs inside of nodes, in the graph's order.
  const std::vector<std::shared_ptr<Node>>& GetDirectNode() const { return nodes_; }

 private:
  std::vector<std::shared_ptr<Node>> nodes_;
};

/// Attributes of operator descriptions, by key. Descriptions must not be null.
class AttrUtils {
 public:
  /// False, with `value` left alone, when there is no text of that key.
  static bool GetStr(const std::shared_ptr<OpDesc>& desc, const std::string& key,
                     std::string& value);
};

}  // namespace ox

#endif  // OX_COMPUTE_GRAPH_H
