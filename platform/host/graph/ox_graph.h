/// \file
/// Graphs as the graph engine's users hold them.
#ifndef ORMO_HOST_GRAPH_OX_GRAPH_H
#define ORMO_HOST_GRAPH_OX_GRAPH_H

#include <memory>

#include "graph/graph.h"
#include "ox/compute_graph.h"

namespace OrmoHost {

/// Settings of dynamic shapes are left out: in a session, inputs bring their shapes.
std::shared_ptr<ox::ComputeGraph> MakeComputeGraph(const Graph& graph);

/// Throws a GraphError when a node lacks what a graph file would have to say of it.
Graph MakeGraph(const ox::ComputeGraph& computeGraph);

}  // namespace OrmoHost

#endif  // ORMO_HOST_GRAPH_OX_GRAPH_H
