#include "online/input_generator.h"

#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "ormo/status.h"
#include "ox/compute_graph.h"
#include "ox/types.h"
#include "support/log_capture.h"
#include "support/matchers.h"

namespace Ormo::Testing {
namespace {

using Bytes = std::vector<uint8_t>;
using Dims = std::vector<int64_t>;

std::shared_ptr<ox::Node> MakeNode(const std::string& name, const std::string& type,
                                   const std::vector<ox::OxTensorDesc>& inputs) {
  auto desc = std::make_shared<ox::OpDesc>();
  for (const ox::OxTensorDesc& input : inputs) {
    desc->AddInputDesc(input);
  }
  return std::make_shared<ox::Node>(name, type, desc);
}

ox::OxTensorDesc MakeDesc(const Dims& dims, ox::DataType type) {
  return {ox::OxShape(dims), ox::FORMAT_NCHW, type};
}

ox::Graph MakeGraph(const std::vector<std::shared_ptr<ox::Node>>& nodes) {
  return ox::Graph(std::make_shared<ox::ComputeGraph>(nodes));
}

ox::Graph MakeGraph(const Dims& dims, ox::DataType type) {
  return MakeGraph({MakeNode("data", "Data", {MakeDesc(dims, type)})});
}

TEST(InputGenerator, ContentDependsOnTheTypeAndSizeOnTheShape) {
  const Bytes floating(12, 0x3F);
  const std::tuple<ox::DataType, Dims, Bytes> cases[] = {
      {ox::DT_FLOAT16, {2, 3}, floating},
      {ox::DT_FLOAT, {3}, floating},
      {ox::DT_DOUBLE, {1, 1}, Bytes(8, 0x3F)},
      {ox::DT_INT32, {2}, {1, 0, 0, 0, 0, 0, 0, 0}},
      {ox::DT_INT8, {3}, {1, 0, 0}},
      {ox::DT_UINT8, {1}, {1}},
      {ox::DT_BOOL, {2}, {1, 0}},
      {ox::DT_INT64, {1}, {1, 0, 0, 0, 0, 0, 0, 0}},
      {ox::DT_INT32, {-1, 5}, {1, 0, 0, 0}},                // unknown: one element
      {ox::DT_INT32, {0, 5}, {1, 0, 0, 0}},                 // none: one element
      {ox::DT_FLOAT16, {1LL << 62, 4}, Bytes{0x3F, 0x3F}},  // too many to count
      {ox::DT_FLOAT16, {}, Bytes{0x3F, 0x3F}},              // a scalar
  };
  for (const auto& [type, dims, content] : cases) {
    SCOPED_TRACE(type);
    std::vector<ox::Tensor> inputs;
    ASSERT_EQ(GenerateInput(MakeGraph(dims, type), inputs), STATUS_SUCCESS);
    ASSERT_THAT(inputs, SizeIs(1));
    EXPECT_EQ(inputs[0].GetData(), content);
    EXPECT_EQ(inputs[0].GetTensorDesc().GetShape(), dims);
    EXPECT_EQ(inputs[0].GetTensorDesc().GetDataType(), type);
    EXPECT_EQ(inputs[0].GetTensorDesc().GetFormat(), ox::FORMAT_NCHW);
  }
}

TEST(InputGenerator, EveryDescriptionOfEveryDataNodeGetsATensorInOrder) {
  const ox::Graph graph =
      MakeGraph({MakeNode("b", "Data", {MakeDesc({1}, ox::DT_INT8), MakeDesc({2}, ox::DT_INT8)}),
                 MakeNode("weights", "Const", {MakeDesc({7}, ox::DT_INT8)}),
                 std::make_shared<ox::Node>("bare", "Data", nullptr),
                 MakeNode("similar", "Data2", {MakeDesc({7}, ox::DT_INT8)}),
                 MakeNode("a", "Data", {MakeDesc({3}, ox::DT_INT8)})});
  std::vector<ox::Tensor> inputs;
  ASSERT_EQ(GenerateInput(graph, inputs), STATUS_SUCCESS);
  ASSERT_THAT(inputs, SizeIs(3));
  for (size_t i = 0; i < inputs.size(); ++i) {
    EXPECT_THAT(inputs[i].GetData(), SizeIs(i + 1));
  }
  EXPECT_EQ(GenerateInput(MakeGraph({}), inputs), STATUS_SUCCESS);
  EXPECT_THAT(inputs, SizeIs(3));
}

TEST(InputGenerator, WhatCannotBeSizedFailsAndKeepsWhatWasMadeBefore) {
  LogCapture log(DLOG_INFO);
  const ox::Graph graph = MakeGraph({MakeNode("good", "Data", {MakeDesc({2}, ox::DT_FLOAT16)}),
                                     MakeNode("odd", "Data", {MakeDesc({2}, ox::DT_UNDEFINED)}),
                                     MakeNode("next", "Data", {MakeDesc({2}, ox::DT_FLOAT16)})});
  std::vector<ox::Tensor> inputs;
  EXPECT_EQ(GenerateInput(graph, inputs), STATUS_FAILED);
  EXPECT_THAT(inputs, SizeIs(1));
  EXPECT_EQ(GenerateInput({}, inputs), STATUS_FAILED);
  EXPECT_THAT(log.Messages(),
              ElementsAre("op[good] get data type 1, size 4 byte(s).",
                          "op[odd] calc tensor size failed.", "ComputeGraph is nullptr"));
}

TEST(InputGenerator, AConfigurationIsFilledUnlessItHasListsForAllGraphs) {
  const ox::Graph one = MakeGraph({1}, ox::DT_INT8);
  const ox::Graph two = MakeGraph({2}, ox::DT_INT8);
  RunnerConfig config;
  config.dependGraphs = {one, one};
  for (size_t given = 0; given < 5; ++given) {
    config.graphInputs.assign(given, {});
    ASSERT_EQ(GenerateRunInputs(two, config), STATUS_SUCCESS);
    const size_t expected = given > config.dependGraphs.size() ? given : given + 3;
    ASSERT_THAT(config.graphInputs, SizeIs(expected)) << given << " given";
    for (size_t i = given; i < expected; ++i) {
      EXPECT_THAT(config.graphInputs[i].at(0).GetData(), SizeIs(i + 1 == expected ? 2 : 1));
    }
  }
}

TEST(ElementTypes, SizesInBytesAreExactOrMinusOne) {
  constexpr int64_t MOST = std::numeric_limits<int64_t>::max();
  EXPECT_EQ(ox::GetSizeInBytes(0, ox::DT_INT64), 0);
  EXPECT_EQ(ox::GetSizeInBytes(MOST, ox::DT_INT8), MOST);
  EXPECT_EQ(ox::GetSizeInBytes(MOST / 8, ox::DT_DOUBLE), MOST - 7);
  EXPECT_EQ(ox::GetSizeInBytes(MOST / 8 + 1, ox::DT_DOUBLE), -1);
  EXPECT_EQ(ox::GetSizeInBytes(-1, ox::DT_INT8), -1);
  EXPECT_EQ(ox::GetSizeInBytes(1, ox::DT_UNDEFINED), -1);
  EXPECT_EQ(ox::GetSizeInBytes(1, static_cast<ox::DataType>(1000)), -1);
}

}  // namespace
}  // namespace Ormo::Testing
