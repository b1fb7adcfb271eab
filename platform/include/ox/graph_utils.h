/// \file
/// Ways to get at a graph's content.
#ifndef OX_GRAPH_UTILS_H
#define OX_GRAPH_UTILS_H

#include <memory>

#include "ox/compute_graph.h"
#include "ox/graph.h"

namespace ox {

class GraphUtils {
 public:
  /// Reads a graph file. False, with `graph` left alone and the reason at the error manager, when
  /// that is not possible.
  static bool LoadOXGraph(const char* file, std::shared_ptr<ComputeGraph>& graph);
};

class GraphUtilsEx {
 public:
  /// Null for a graph without content.
  static std::shared_ptr<ComputeGraph> GetComputeGraph(const Graph& graph);
};

}  // namespace ox

#endif  // OX_GRAPH_UTILS_H
