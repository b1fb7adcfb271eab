// Operators compute what their formulas say.
#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/platform_test.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

using OperatorTest = PlatformTest;
using Buffers = std::vector<std::vector<float>>;

/// "1 2;3": two buffers.
Buffers Parse(const std::string& text) {
  Buffers buffers;
  std::istringstream rest(text);
  for (std::string buffer; std::getline(rest, buffer, ';');) {
    std::istringstream numbers(buffer);
    buffers.emplace_back(std::istream_iterator<float>(numbers), std::istream_iterator<float>());
  }
  return buffers;
}

// Lines in threes: a graph, its inputs, and what it makes of them. Tiles of a product divide none
// of its dimensions.
TEST_F(OperatorTest, GraphsComputeWhatTheirOperatorsSay) {
  std::ifstream cases(COMPUTED_GRAPHS);
  int count = 0;
  std::string inputs;
  std::string outputs;
  for (std::string graph;
       std::getline(cases, graph) && std::getline(cases, inputs) && std::getline(cases, outputs);) {
    SCOPED_TRACE(graph);
    const Buffers expected = Parse(outputs);
    Buffers unset = expected;
    for (std::vector<float>& buffer : unset) {
      std::fill(buffer.begin(), buffer.end(), NAN);
    }
    const FloatDataset input(Parse(inputs));
    const FloatDataset output(unset);
    EXPECT_EQ(zelmdlExecute(Load(graph), input.Get(), output.Get()), 0) << Reason();
    for (size_t i = 0; i < expected.size(); ++i) {
      EXPECT_THAT(output.Read(i), Pointwise(FloatNear(1e-4F), expected[i])) << i;
    }
    ++count;
  }
  EXPECT_EQ(count, 25);
}

}  // namespace
}  // namespace Ormo::Testing
