// Graphs of kernels, from the command line to the ranking.
#include <filesystem>

#include "driver/driver_process.h"

namespace Ormo::Testing {
namespace {

class DriverSim : public DriverTest {
 protected:
  DriverSim() { std::filesystem::current_path(ORMO_EXAMPLES_PATH "/.."); }

  static std::string Example(int tile) {
    return "examples/simulator/tile-" + std::to_string(tile) + ".json";
  }

  // A graph of one kernel with that text, or without any when it is empty.
  std::string KernelGraph(const std::string& stem, const std::string& kernel) const {
    const std::string path = directory_ / stem + ".json";
    File(stem + ".dux", "dux 1\nkernel " + stem + "__kernel0\n" + kernel + "\nend\n");
    return File(stem + ".json",
                Graph({Node("only", "Kernel", "", {1},
                            kernel.empty() ? "" : "\"json_file_path\": \"" + path + "\"")}));
  }
};

// examples/simulator/README.md computes them by hand.
TEST_F(DriverSim, TheExamplesRankAsComputedByHand) {
  const json document = Measure({"sim", Example(16), Example(32), Example(64), Example(128)});
  EXPECT_EQ(document["soc"], "TarnLake1");
  EXPECT_THAT(document["simulator"].get<std::string>(), HasSubstr("/pelt"));
  using Entry = std::pair<std::string, uint64_t>;
  std::vector<Entry> ranking;
  for (const json& candidate : document["candidates"]) {
    ranking.emplace_back(candidate["model"], candidate["totalCostTime"]);
    EXPECT_EQ(candidate["runCostTime"], candidate["totalCostTime"]);
  }
  EXPECT_THAT(ranking, ElementsAre(Entry(Example(64), 45461), Entry(Example(128), 47781),
                                   Entry(Example(32), 118413), Entry(Example(16), 402557)));
  std::vector<Entry> kernels;
  for (const json& kernel : document["candidates"][1]["operators"]) {
    kernels.emplace_back(kernel["name"], kernel["costTime"]);
  }
  EXPECT_THAT(kernels, ElementsAre(Entry("hidden/matmul", 27756), Entry("logits/matmul", 13928),
                                   Entry("softmax", 2480), Entry("hidden/add", 1829),
                                   Entry("hidden/relu", 1788)));
}

TEST_F(DriverSim, TheTableShowsTicksAndWhatFailed) {
  const std::string good = KernelGraph("good", "scalar 1234467");
  const std::string endless = KernelGraph("endless", "loop 18446744073709551615\nend");
  const std::string broken = KernelGraph("broken", "sleep 1");
  const std::string bare = KernelGraph("bare", "");
  const DriverRun run = RunDriver({"sim", broken, bare, endless, good});
  EXPECT_EQ(run.exitStatus, 1);
  const std::vector<std::string> lines = run.Lines();
  ASSERT_EQ(lines.size(), 15U) << run.output;
  EXPECT_THAT(lines[0], MatchesRegex("TarnLake1, simulated by /.*/pelt"));
  EXPECT_THAT(lines[3], MatchesRegex(" +1  " + good + " +1,234,567 +1.000x"));
  EXPECT_THAT(lines[4], MatchesRegex(" +2  " + endless + " +maximum +-"));
  EXPECT_THAT(lines[5], MatchesRegex(" +-  " + broken +
                                     " +- +-  failed \\(-1\\): "
                                     "EH0010: .*broken.dux: line 3: expected one of .*"));
  EXPECT_THAT(lines[6], EndsWith("the graph names no kernels"));
  EXPECT_THAT(lines[10], MatchesRegex(" +1,234,567 +100.0 %  only +#+"));
}

TEST_F(DriverSim, TheUsersSimulatorAndChipStand) {
  const std::pair<const char*, const char*> table[] = {
      {"PELTV2=/no/such/directory", "PELTV2 names no directory: \"/no/such/directory\""},
      {"PELT_SOC_VERSION=TarnLake2", "PELT_SOC_VERSION names no chip that can be simulated"},
      {"PELTV2=/", "bin/libpelt_api.so: cannot open shared object file"},
  };
  for (const auto& [variable, reason] : table) {
    const DriverRun run = RunDriver({"sim", Example(16)}, {variable});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.output, IsEmpty());
    EXPECT_THAT(run.errors, StartsWith("ormo-measure: the simulator cannot be used: "));
    EXPECT_THAT(run.errors, HasSubstr(reason));
  }
}

}  // namespace
}  // namespace Ormo::Testing
