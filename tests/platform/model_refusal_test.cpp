// A graph file that breaks a rule is refused, and people are told where.
#include <gmock/gmock.h>

#include "platform/platform_test.h"
#include "support/temp_directory.h"

namespace Ormo {
namespace {

using Test::Graph;
using Test::Node;
using Test::PlatformTest;
using Test::TempDirectory;
using Test::WriteFile;
using ::testing::HasSubstr;

struct BadGraph {
  const char* what;
  std::string text;
  std::vector<std::string> reason;
};

std::string Data(const std::vector<int64_t>& shape) {
  return Node("x", "Data", "", shape);
}

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

std::vector<BadGraph> BadGraphs() {
  const std::string x = Data({2, 3});
  const std::string relu = Node("r", "Relu", "\"x\"", {2, 3});
  const std::string good = Graph({x, relu});
  const std::string batch = R"("dynamic": {"batch": [1, 8]})";
  const int64_t huge = int64_t{1} << 40;
  return {
      {"no JSON", "{", {"JSON"}},
      {"version", Replaced(good, "\"version\": 1", "\"version\": 2"), {"version", "1"}},
      {"unknown key", Replaced(good, "\"version\"", "\"verison\": 1, \"version\""), {"verison"}},
      {"a name twice", Graph({x, relu, relu}), {"\"r\"", "name"}},
      {"reads what comes later", Graph({relu, x}), {"\"r\"", "inputs", "before"}},
      {"unknown operator",
       Graph({x, Node("c", "Conv", "\"x\"", {2, 3})}),
       {"\"c\"", "type", "MatMul"}},
      {"too few inputs", Graph({x, Node("a", "Add", "\"x\"", {2, 3})}), {"\"a\"", "inputs", "2"}},
      {"wrong output",
       Graph({x, Node("r", "Relu", "\"x\"", {3, 2})}),
       {"\"r\"", "shape", "[2, 3]"}},
      {"inner dimensions",
       Graph({x, Node("m", "MatMul", "\"x\", \"x\"", {2, 3})}),
       {"\"m\"", "inner"}},
      {"broadcast",
       Graph({x, Node("b", "Const", "", {2}, "\"fill\": 1"),
              Node("a", "Add", "\"x\", \"b\"", {2, 3})}),
       {"\"a\"", "[2]"}},
      {"unknown attribute",
       Graph({x, Node("m", "Relu", "\"x\"", {2, 3}, "\"tile\": 8")}),
       {"\"m\"", "tile"}},
      {"attribute of another type",
       Graph({x, Node("s", "Spin", "\"x\"", {2, 3}, "\"ns\": \"1\"")}),
       {"\"s\"", "ns"}},
      {"Spin without time", Graph({x, Node("s", "Spin", "\"x\"", {2, 3})}), {"\"s\"", "ns"}},
      {"element type", Replaced(good, "float32", "int32"), {"\"r\"", "float32"}},
      {"unknown element type", Replaced(good, "float32", "float31"), {"\"x\"", "dtype", "float16"}},
      {"two sources of values",
       Graph({Node("c", "Const", "", {1}, "\"fill\": 1, \"seed\": 1"),
              Node("r", "Relu", "\"c\"", {1})}),
       {"\"c\"", "one of"}},
      {"too few values",
       Graph({Node("c", "Const", "", {2}, "\"values\": [1]"), Node("r", "Relu", "\"c\"", {2})}),
       {"\"c\"", "values", "2"}},
      {"a dimension of 0", Graph({Data({0, 3}), relu}), {"\"x\"", "shape"}},
      {"more elements than there are",
       Graph({Data({huge, huge}), Node("r", "Relu", "\"x\"", {huge, huge})}),
       {"\"x\""}},
      {"nothing to do", Graph({x}), {"nodes"}},
      {"settings for nothing", Graph({x, relu}, batch), {"dynamic", "-1"}},
      {"batch inside",
       Graph({Data({2, -1}), Node("r", "Relu", "\"x\"", {2, -1})}, batch),
       {"\"x\"", "first"}},
      {"short image",
       Graph({Data({-1, -1}), Node("r", "Relu", "\"x\"", {-1, -1})},
             R"("dynamic": {"image": [[8]]})"),
       {"dynamic", "2"}},
  };
}

using ModelRefusalTest = PlatformTest;

TEST_F(ModelRefusalTest, NamesTheModelTheNodeAndWhatWasExpected) {
  for (const BadGraph& bad : BadGraphs()) {
    SCOPED_TRACE(bad.what);
    uint32_t id = 0;
    size_t work = 0;
    size_t weights = 0;
    EXPECT_NE(zelmdlQuerySizeFromMem(bad.text.data(), bad.text.size(), &work, &weights), 0);
    EXPECT_THAT(Reason(), HasSubstr("EH0001: model in memory: "));
    EXPECT_NE(zelmdlLoadFromMem(bad.text.data(), bad.text.size(), &id), 0);
    EXPECT_EQ(id, 0U);
    std::string reason = Reason();
    for (const std::string& part : bad.reason) {
      EXPECT_THAT(reason, HasSubstr(part));
    }
  }
  EXPECT_EQ(OrmoHost::Alive().deviceBytes, 0U);
}

TEST_F(ModelRefusalTest, NamesTheFile) {
  TempDirectory directory;
  const std::string path = directory / "bad.json";
  uint32_t id = 0;
  EXPECT_NE(zelmdlLoadFromFile(path.c_str(), &id), 0);
  EXPECT_THAT(Reason(), HasSubstr(path + ": expected a readable file"));
  WriteFile(path, Graph({Data({1})}));
  EXPECT_NE(zelmdlLoadFromFile(path.c_str(), &id), 0);
  EXPECT_THAT(Reason(), HasSubstr(path + ": key \"nodes\""));
}

TEST_F(ModelRefusalTest, ATextAttributeIsForOtherTools) {
  EXPECT_NE(Load(Graph({Data({1}), Node("r", "Relu", "\"x\"", {1}, "\"note\": \"text\"")})), 0U);
}

}  // namespace
}  // namespace Ormo
