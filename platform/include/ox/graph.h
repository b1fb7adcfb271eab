/// \file
/// A handle to a graph of the graph engine.
#ifndef OX_GRAPH_H
#define OX_GRAPH_H

#include <memory>
#include <utility>

namespace ox {

class ComputeGraph;

/// A value: copies share one content, which may be missing.
class Graph {
 public:
  Graph() = default;

  explicit Graph(std::shared_ptr<ComputeGraph> content) : content_(std::move(content)) {}

  /// False for a graph without content.
  bool IsValid() const { return content_ != nullptr; }

  const std::shared_ptr<ComputeGraph>& GetContent() const { return content_; }

 private:
  std::shared_ptr<ComputeGraph> content_;
};

}  // namespace ox

#endif  // OX_GRAPH_H
