/// \file
/// A graph as its file describes it.
#ifndef ORMO_HOST_GRAPH_GRAPH_H
#define ORMO_HOST_GRAPH_GRAPH_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "ox/compute_graph.h"
#include "ox/types.h"

namespace OrmoHost {

/// What a profiling record has room for.
constexpr size_t MAX_NAME_LENGTH = 255;

/// Dimensions; UNKNOWN_DIM stands for one that is known at execution.
using Shape = std::vector<int64_t>;
constexpr int64_t UNKNOWN_DIM = -1;

struct TensorSpec {
  Shape shape;
  ox::DataType dataType = ox::DT_FLOAT;
  ox::Format format = ox::FORMAT_ND;
};

using ox::AttrValue;

/// Types of the nodes that compute nothing.
constexpr char DATA_TYPE[] = "Data";
constexpr char CONST_TYPE[] = "Const";

struct GraphNode {
  std::string name;
  std::string type;
  std::vector<size_t> inputs;  ///< indices of nodes that stand before this one
  TensorSpec output;
  std::map<std::string, AttrValue> attrs;
};

/// What the declared settings of a dynamic graph are values for.
enum class DynamicKind { NONE, BATCH, IMAGE, DIMS };

/// Values for the unknown dimensions of the inputs.
using Setting = std::vector<int64_t>;

struct Graph {
  std::string name;
  std::vector<GraphNode> nodes;
  DynamicKind dynamicKind = DynamicKind::NONE;
  std::vector<Setting> settings;
};

/// Why a graph is refused: the node and key at fault (empty: the graph as a whole), and what was
/// expected there.
class GraphError : public std::runtime_error {
 public:
  GraphError(const std::string& node, const std::string& key, const std::string& expected);
};

/// Bytes of an element; 0 for a type that has no size.
size_t ElementSize(ox::DataType dataType);

/// Elements of a shape without unknown dimensions, and their bytes. Throws a GraphError about
/// `node` when that exceeds what a 64-bit size can hold.
size_t CountElements(const Shape& shape, const std::string& node);
size_t CountBytes(const TensorSpec& spec, const std::string& node);

bool HasUnknownDim(const Shape& shape);
/// "[8, -1]".
std::string ToText(const Shape& shape);

/// Attributes by their type. Each throws a GraphError when the attribute has another type.
bool GetFlag(const GraphNode& node, const std::string& key);
int64_t GetInt(const GraphNode& node, const std::string& key, int64_t absent);
double GetNumber(const GraphNode& node, const std::string& key, double absent);

}  // namespace OrmoHost

#endif  // ORMO_HOST_GRAPH_GRAPH_H
