// The library in programs that go their own ways: one never finalises, one unloads it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "single_op/request_text.h"
#include "support/child_process.h"
#include "support/graph_text.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

class LibraryLifeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("HOME", directory_.Path().c_str(), 1);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("TARN_CACHE_PATH", directory_.Path().c_str(), 1);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("ORMO_PROF_END", "close", 1);
  }

  TempDirectory directory_;
};

TEST_F(LibraryLifeTest, AProcessThatExitsWithoutFinalisingLeavesAWholeTimeline) {
  const std::string timelines = directory_ / "timelines";
  std::filesystem::create_directory(timelines);
  ChildProcess program({EXIT_WITHOUT_FINALIZE, timelines, SpinGraph({1000}), AttentionRequest()});
  EXPECT_EQ(program.ReadLine(), "measured");
  EXPECT_EQ(program.Wait(), 0);
  const auto file = std::filesystem::directory_iterator(timelines);
  ASSERT_NE(file, end(file));
  EXPECT_TRUE(nlohmann::json::accept(ReadFile(file->path().string())));
}

TEST_F(LibraryLifeTest, ClosedItIsGoneWithItsPlatform) {
  WriteFile(directory_ / "graph", SpinGraph({1000}));
  ChildProcess program({UNLOAD_LIBRARY, RUNNER_LIBRARY, PLATFORM_LIBRARY, ONLINE_USER,
                        SpinGraph({1000}), AttentionRequest(), directory_ / "graph"});
  EXPECT_EQ(program.ReadLine(), "seen 1, measured 1, loaded 0, platform loaded 0, mapped 0");
  EXPECT_EQ(program.Wait(), 0);
}

}  // namespace
}  // namespace Ormo::Testing
