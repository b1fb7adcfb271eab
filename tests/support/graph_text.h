/// \file
/// Graph files for tests.
#ifndef ORMO_TESTS_SUPPORT_GRAPH_TEXT_H
#define ORMO_TESTS_SUPPORT_GRAPH_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Ormo::Testing {

/// A chain of Spin nodes "spin0", "spin1" and so on behind an input of 4 bytes, with those times.
std::string SpinGraph(const std::vector<uint64_t>& nanoseconds);

/// A chain of `count` nodes "add0" and so on, each of which adds the same constant vector, filled
/// with `addend`, to its input of that many elements.
std::string AddGraph(size_t elements, double addend, size_t count = 1);

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_GRAPH_TEXT_H
