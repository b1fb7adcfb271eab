/// \file
/// What a network computes, worked out in double precision from its graph file alone.
#ifndef ORMO_TESTS_END_TO_END_REFERENCE_NETWORK_H
#define ORMO_TESTS_END_TO_END_REFERENCE_NETWORK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Ormo::Testing {

/// `count` numbers in [-1, 1), exact in single precision: the generator of the graph file's `seed`.
std::vector<double> Generate(uint64_t seed, size_t count);

/// The last node's values for one input of `rows` rows; that is also what an unknown first
/// dimension becomes.
std::vector<double> ComputeNetwork(const std::string& graph, const std::vector<double>& input,
                                   size_t rows);

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_END_TO_END_REFERENCE_NETWORK_H
