// What graphs compute, and how those that break a rule are refused: people are told where.
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

#include "ox/graph_utils.h"
#include "platform/platform_test.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

using GraphsTest = PlatformTest;
using Buffers = std::vector<std::vector<float>>;

// "1 2;3": two buffers.
Buffers Parse(const std::string& text) {
  Buffers buffers;
  std::istringstream rest(text);
  for (std::string buffer; std::getline(rest, buffer, ';');) {
    std::istringstream numbers(buffer);
    buffers.emplace_back(std::istream_iterator<float>(numbers), std::istream_iterator<float>());
  }
  return buffers;
}

// The bytes of inputs and outputs: "8 4;8".
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

// "shape 0 2 3": the shape that comes with input 0. "image 1 2 3": the setting in input 1.
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

// A line's buffers, and what is said of them after "|".
std::pair<Buffers, std::string> Split(const std::string& line) {
  const size_t end = std::min(line.find('|'), line.size());
  return {Parse(line.substr(0, end)), line.substr(std::min(end + 1, line.size()))};
}

// Lines in fours: a graph, the sizes of its inputs and outputs, inputs and what is set with them,
// outputs or why there are none. Tiles of a product divide none of its dimensions.
TEST_F(GraphsTest, GraphsComputeWhatTheirOperatorsSay) {
  std::ifstream cases(COMPUTED_GRAPHS);
  int count = 0;
  std::string sizes;
  std::string inputs;
  std::string outputs;
  for (std::string graph; std::getline(cases, graph) && std::getline(cases, sizes) &&
                          std::getline(cases, inputs) && std::getline(cases, outputs);) {
    SCOPED_TRACE(graph);
    const auto [numbers, setting] = Split(inputs);
    const auto [expected, reason] = Split(outputs);
    Buffers unset = expected;
    for (std::vector<float>& buffer : unset) {
      std::fill(buffer.begin(), buffer.end(), NAN);
    }
    const FloatDataset input(numbers);
    const FloatDataset output(unset);
    const uint32_t id = Load(graph);
    EXPECT_EQ(Sizes(id), sizes);
    const bool isDone =
        Set(id, input.Get(), setting) == 0 && zelmdlExecute(id, input.Get(), output.Get()) == 0;
    EXPECT_EQ(isDone, reason.empty());
    EXPECT_EQ(Reason(), reason);
    for (size_t i = 0; i < expected.size() && isDone; ++i) {
      EXPECT_THAT(output.Read(i), Pointwise(FloatNear(1e-4F), expected[i])) << i;
    }
    ++count;
  }
  EXPECT_EQ(count, 42);
}

// Lines in pairs: what people are told, and of which graph.
TEST_F(GraphsTest, NamesTheModelTheNodeAndWhatWasExpected) {
  std::ifstream cases(REFUSED_GRAPHS);
  int count = 0;
  for (std::string reason, graph; std::getline(cases, reason) && std::getline(cases, graph);) {
    EXPECT_EQ(Load(graph), 0U) << graph;
    EXPECT_THAT(Reason(), StartsWith("EH0001: model in memory: " + reason)) << graph;
    ++count;
  }
  EXPECT_GT(count, 100);
  EXPECT_EQ(OrmoHost::Alive().deviceBytes, 0U);
}

TEST_F(GraphsTest, OnlyAnOrdinaryFileOfBoundedSizeIsRead) {
  const TempDirectory directory;
  const std::string pipe = directory / "pipe";
  const std::string large = directory / "large";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  WriteFile(large, "");
  std::filesystem::resize_file(large, (64 << 20) + 1);
  for (const std::string& file :
       {directory / "missing", directory.Path().string(), pipe, std::string("/dev/zero"), large}) {
    const std::string expected =
        "EH0001: " + file +
        (file == large ? ": expected at most 67108864 bytes" : ": expected a readable file");
    uint32_t id = 0;
    EXPECT_NE(zelmdlLoadFromFile(file.c_str(), &id), 0);
    EXPECT_EQ(Reason(), expected);
    std::shared_ptr<ox::ComputeGraph> graph;
    EXPECT_FALSE(ox::GraphUtils::LoadOXGraph(file.c_str(), graph));
    EXPECT_EQ(Reason(), expected);
  }
}

}  // namespace
}  // namespace Ormo::Testing
