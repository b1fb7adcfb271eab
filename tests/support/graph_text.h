/// \file
/// Graph files for tests.
#ifndef ORMO_TESTS_SUPPORT_GRAPH_TEXT_H
#define ORMO_TESTS_SUPPORT_GRAPH_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Ormo::Testing {

/// A node of a graph file. `inputs` and `attrs` as they stand in the file, without their brackets.
std::string Node(const std::string& name, const std::string& type, const std::string& inputs,
                 const std::vector<int64_t>& shape, const std::string& attrs = "");
/// A graph file of these nodes; `rest` follows them, for instance `"dynamic": {"batch": [1]}`.
std::string Graph(const std::vector<std::string>& nodes, const std::string& rest = "");

/// y = relu(x + 1), with the sum in work memory; `shape` ends with 2.
std::string AddRelu(const std::vector<int64_t>& shape, const std::string& rest = "");

/// A chain of Spin nodes "spin0", "spin1" and so on behind an input of 4 bytes, with those times.
std::string SpinGraph(const std::vector<uint64_t>& nanoseconds);

/// A chain of `count` nodes "add0" and so on, each of which adds the same constant vector, filled
/// with `addend`, to its input of that many elements.
std::string AddGraph(size_t elements, double addend, size_t count = 1);

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_GRAPH_TEXT_H
