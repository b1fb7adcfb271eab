// A graph file that breaks a rule is refused, and people are told where.
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "ox/graph_utils.h"
#include "platform/platform_test.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

using ModelRefusalTest = PlatformTest;

// Lines in pairs: what people are told, and of which graph.
TEST_F(ModelRefusalTest, NamesTheModelTheNodeAndWhatWasExpected) {
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
