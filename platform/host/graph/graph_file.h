/// \file
/// The file format of graphs; docs/host-platform.md describes it.
#ifndef ORMO_HOST_GRAPH_GRAPH_FILE_H
#define ORMO_HOST_GRAPH_GRAPH_FILE_H

#include <cstddef>
#include <string>
#include <string_view>

#include "graph/graph.h"

namespace OrmoHost {

constexpr size_t MAX_GRAPH_FILE_SIZE = size_t{64} << 20;

/// The text of a file. Throws a GraphError when it cannot be read or is larger.
std::string ReadGraphText(const std::string& path);

/// Reads the text of a graph file. Throws a GraphError when it breaks a rule of the format; the
/// rules of operators are not looked at.
Graph ParseGraph(std::string_view text);

}  // namespace OrmoHost

#endif  // ORMO_HOST_GRAPH_GRAPH_FILE_H
