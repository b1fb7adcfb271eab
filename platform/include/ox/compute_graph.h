/// \file
/// The content of a graph: nodes, and what each of them is.
#ifndef OX_COMPUTE_GRAPH_H
#define OX_COMPUTE_GRAPH_H

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ox {

/// Description of the operator that a node applies.
class OpDesc {
 private:
  friend class AttrUtils;

  std::map<std::string, std::string> texts_;
};

class Node {
 public:
  /// `opDesc` may be null: the node is then only a name and a type.
  Node(std::string name, std::string type, std::shared_ptr<OpDesc> opDesc)
      : name_(std::move(name)), type_(std::move(type)), opDesc_(std::move(opDesc)) {}

  const std::string& GetName() const { return name_; }

  const std::string& GetType() const { return type_; }

  const std::shared_ptr<OpDesc>& GetOpDesc() const { return opDesc_; }

 private:
  std::string name_;
  std::string type_;
  std::shared_ptr<OpDesc> opDesc_;
};

class ComputeGraph {
 public:
  ComputeGraph() = default;

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
  static void SetStr(const std::shared_ptr<OpDesc>& desc, const std::string& key,
                     const std::string& value);
};

}  // namespace ox

#endif  // OX_COMPUTE_GRAPH_H
