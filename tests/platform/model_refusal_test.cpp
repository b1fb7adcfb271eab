// A graph file that breaks a rule is refused, and people are told where.
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <utility>

#include "ox/graph_utils.h"
#include "platform/platform_test.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

using BadGraph = std::pair<std::string, std::vector<std::string>>;  ///< with parts of the reason

constexpr char X[] = "\"x\"";

std::string Data(const std::vector<int64_t>& shape) {
  return Node("x", "Data", "", shape);
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

/// A node "n" that reads an input "x" of 2 x 3.
std::string WithNode(const std::string& type, const std::string& inputs,
                     const std::vector<int64_t>& shape, const std::string& attrs = "") {
  return Graph({Data({2, 3}), Node("n", type, inputs, shape, attrs)});
}

std::vector<BadGraph> BadGraphs() {
  const std::string relu = Node("r", "Relu", X, {2, 3});
  const std::string good = Graph({Data({2, 3}), relu});
  const std::string batch = R"("dynamic": {"batch": [1, 8]})";
  const int64_t huge = int64_t{1} << 40;
  return {
      {"{", {"JSON"}},
      {std::string(32, '['), {"JSON"}},
      {std::string(33, '['), {"expected at most 32 levels"}},
      {Replaced(good, "\"version\": 1", "\"version\": 2"), {"version", "1"}},
      {Replaced(good, "\"version\"", "\"verison\": 1, \"version\""), {"verison"}},
      {Graph({Data({2, 3}), relu, relu}), {"\"r\"", "name"}},
      {Graph({relu, Data({2, 3})}), {"\"r\"", "inputs", "before"}},
      {WithNode("Conv", X, {2, 3}), {"\"n\"", "type", "MatMul"}},
      {WithNode("Add", X, {2, 3}), {"\"n\"", "inputs", "2"}},
      {WithNode("Relu", X, {3, 2}), {"\"n\"", "shape", "[2, 3]"}},
      {WithNode("MatMul", "\"x\", \"x\"", {2, 3}), {"\"n\"", "inner"}},
      {WithNode("Relu", X, {2, 3}, "\"tile\": 8"), {"\"n\"", "tile"}},
      {WithNode("Spin", X, {2, 3}), {"\"n\"", "ns"}},
      {Replaced(good, "float32", "int32"), {"\"r\"", "float32"}},
      {Replaced(good, "float32", "float31"), {"\"x\"", "dtype", "float16"}},
      {WithNode("Const", "", {1}, "\"fill\": 1, \"seed\": 1"), {"\"n\"", "one of"}},
      {WithNode("Const", "", {2}, "\"values\": [1]"), {"\"n\"", "values", "2"}},
      {Graph({Data({0, 3})}), {"\"x\"", "shape"}},
      {Replaced(good, "[2, 3]", "[18446744073709551615, 3]"), {"\"x\"", "shape", "-1"}},
      {WithNode("LayerNorm", X, {2, 3}, "\"epsilon\": 18446744073709551615"),
       {"\"n\"", "epsilon", "up to 9223372036854775807"}},
      {Graph({Data({huge, huge}), Node("r", "Relu", X, {huge, huge})}), {"\"x\""}},
      {Graph({Data({2, 3})}), {"nodes"}},
      {Graph({Data({2, 3}), relu}, batch), {"dynamic", "-1"}},
      {Graph({Data({2, -1}), Node("r", "Relu", X, {2, -1})}, batch), {"\"x\"", "first"}},
  };
}

using ModelRefusalTest = PlatformTest;

TEST_F(ModelRefusalTest, NamesTheModelTheNodeAndWhatWasExpected) {
  for (const auto& [graph, parts] : BadGraphs()) {
    SCOPED_TRACE(graph);
    EXPECT_EQ(Load(graph), 0U);
    const std::string reason = Reason();
    EXPECT_THAT(reason, HasSubstr("EH0001: model in memory: "));
    for (const std::string& part : parts) {
      EXPECT_THAT(reason, HasSubstr(part));
    }
  }
  EXPECT_EQ(OrmoHost::Alive().deviceBytes, 0U);
}

TEST_F(ModelRefusalTest, OnlyAnOrdinaryFileOfBoundedSizeIsRead) {
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
