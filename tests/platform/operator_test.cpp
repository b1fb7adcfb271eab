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

/// The bytes of inputs and outputs: "8 4;8".
std::string Sizes(uint32_t id) {
  zelmdlDesc* desc = zelmdlCreateDesc();
  EXPECT_EQ(zelmdlGetDesc(desc, id), 0);
  std::ostringstream sizes;
  for (size_t i = 0; i < zelmdlGetNumInputs(desc); ++i) {
    sizes << (i == 0 ? "" : " ") << zelmdlGetInputSizeByIndex(desc, i);
  }
  for (size_t i = 0; i < zelmdlGetNumOutputs(desc); ++i) {
    sizes << (i == 0 ? ";" : " ") << zelmdlGetOutputSizeByIndex(desc, i);
  }
  EXPECT_EQ(zelmdlDestroyDesc(desc), 0);
  return sizes.str();
}

/// "shape 0 2 3": the shape that comes with input 0. "image 1 2 3": the setting in input 1.
int32_t Set(uint32_t id, zelmdlDataset* data, const std::string& text) {
  std::istringstream words(text);
  std::string what;
  size_t index = 0;
  words >> what >> index;
  zelmdlIODims dims = {};
  int64_t(&numbers)[ZEL_MAX_DIM_CNT] = dims.dims;
  while (words >> numbers[dims.dimCount]) {
    ++dims.dimCount;
  }
  const auto first = static_cast<uint64_t>(numbers[0]);
  if (what == "shape") {
    zelTensorDesc* desc = zelCreateTensorDesc(0, static_cast<int>(dims.dimCount), numbers, 0);
    const int32_t code = zelmdlSetDatasetTensorDesc(data, desc, index);
    zelDestroyTensorDesc(desc);
    return code;
  }
  return what == "batch" ? zelmdlSetDynamicBatchSize(id, data, index, first)
         : what == "image"
             ? zelmdlSetDynamicHWSize(id, data, index, first, static_cast<uint64_t>(numbers[1]))
         : what == "dims" ? zelmdlSetInputDynamicDims(id, data, index, &dims)
                          : 0;
}

// Lines in fours: a graph, the sizes of its inputs and outputs, inputs and what is set with them,
// and what it makes of them, or why it is not executed. Tiles of a product divide none of its
// dimensions.
TEST_F(OperatorTest, GraphsComputeWhatTheirOperatorsSay) {
  std::ifstream cases(COMPUTED_GRAPHS);
  int count = 0;
  std::string sizes;
  std::string inputs;
  std::string outputs;
  for (std::string graph; std::getline(cases, graph) && std::getline(cases, sizes) &&
                          std::getline(cases, inputs) && std::getline(cases, outputs);) {
    SCOPED_TRACE(graph);
    const bool isRefused = outputs.rfind("EH", 0) == 0;
    const size_t end = std::min(inputs.find('|'), inputs.size());
    const Buffers expected = isRefused ? Buffers{std::vector<float>(8)} : Parse(outputs);
    Buffers unset = expected;
    for (std::vector<float>& buffer : unset) {
      std::fill(buffer.begin(), buffer.end(), NAN);
    }
    const FloatDataset input(Parse(inputs.substr(0, end)));
    const FloatDataset output(unset);
    const uint32_t id = Load(graph);
    EXPECT_EQ(Sizes(id), sizes);
    const bool isDone =
        Set(id, input.Get(), inputs.substr(std::min(end + 1, inputs.size()))) == 0 &&
        zelmdlExecute(id, input.Get(), output.Get()) == 0;
    EXPECT_EQ(isDone, !isRefused);
    EXPECT_EQ(Reason(), isRefused ? outputs : "");
    for (size_t i = 0; i < expected.size() && isDone; ++i) {
      EXPECT_THAT(output.Read(i), Pointwise(FloatNear(1e-4F), expected[i])) << i;
    }
    ++count;
  }
  EXPECT_EQ(count, 38);
}

}  // namespace
}  // namespace Ormo::Testing
