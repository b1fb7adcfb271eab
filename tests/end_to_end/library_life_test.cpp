// The library in programs that go their own ways: one never finalises, one unloads it.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "ormo/lib_path.h"
#include "single_op/request_text.h"
#include "support/child_process.h"
#include "support/expected_text.h"
#include "support/graph_text.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

class LibraryLifeTest : public ::testing::Test {
 protected:
  void SetUp() override { WriteFile(graph_, SpinGraph({1000})); }

  HomeDirectory directory_;
  const std::string graph_ = directory_ / "graph";
};

// What began and what ended: on the process's first thread, then on the worker.
std::string Spans(const std::string& timeline) {
  std::string texts[2];
  const nlohmann::json document = nlohmann::json::parse(timeline);
  for (const nlohmann::json& event : document.at("traceEvents")) {
    texts[event.at("tid") == event.at("pid") ? 0 : 1] +=
        event.at("ph").get<std::string>() + " " + event.at("name").get<std::string>() + "\n";
  }
  return texts[0] + texts[1];
}

TEST_F(LibraryLifeTest, AProcessThatExitsWithoutFinalisingLeavesAWholeTimeline) {
  const std::string timelines = directory_ / "timelines";
  std::filesystem::create_directory(timelines);
  ChildProcess program(
      {EXIT_WITHOUT_FINALIZE, timelines, SpinGraph({1000}), AttentionRequest(), graph_});
  EXPECT_EQ(program.ReadLine(), "measured");
  EXPECT_EQ(program.Wait(), 0);
  const auto file = std::filesystem::directory_iterator(timelines);
  ASSERT_NE(file, end(file));
  ExpectText(TIMELINE, "timeline", Spans(ReadFile(file->path().string())));
}

TEST_F(LibraryLifeTest, ClosedItIsGoneWithItsPlatform) {
  ChildProcess program({UNLOAD_LIBRARY, RUNNER_LIBRARY, PLATFORM_LIBRARY, ONLINE_USER,
                        SpinGraph({1000}), AttentionRequest(), graph_});
  EXPECT_EQ(program.ReadLine(), "seen 1, measured 1, loaded 0, platform loaded 0, mapped 0");
  EXPECT_EQ(program.Wait(), 0);
}

TEST_F(LibraryLifeTest, ItKnowsWhereItLies) {
  const std::filesystem::path path = std::filesystem::canonical(RUNNER_LIBRARY).parent_path();
  EXPECT_EQ(LibPath::GetSelfLibraryDir().GetString(), path);
  EXPECT_EQ(LibPath::GetInstallPath().GetString(),
            path.parent_path().parent_path() / "tools/ormo/");
}

}  // namespace
}  // namespace Ormo::Testing
