// What becomes of candidates, and of the exit status.

#include "driver/driver_process.h"
#include "support/graph_text.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

using nlohmann::json;

class OfflineOutcomes : public testing::Test {
 protected:
  std::string Model(const std::string& name, const std::string& content) {
    WriteFile(directory_ / name, content);
    return directory_ / name;
  }

  /// Runs with JSON output and returns the candidates, of which there must be `count`.
  json Measure(std::vector<std::string> arguments, size_t count, int exitStatus,
               const std::vector<std::string>& environment = {}) {
    arguments.insert(arguments.begin(), {"offline", "--format", "json", "--loop", "3"});
    const DriverRun run = RunDriver(arguments, environment);
    EXPECT_EQ(run.exitStatus, exitStatus) << run.errors;
    const json document = run.Json();
    json candidates = document.is_object() ? document["candidates"] : json::array();
    EXPECT_EQ(candidates.size(), count) << run.output << run.errors;
    candidates.get_ref<json::array_t&>().resize(count, json::object());
    return candidates;
  }

 private:
  TempDirectory directory_;
};

TEST_F(OfflineOutcomes, ADamagedModelFailsWithItsReasonAndLeavesTheOthersAlone) {
  std::string damaged = SpinGraph({1000});
  damaged.replace(damaged.find("\"Spin\""), 6, "\"Spun\"");
  const std::string bad = Model("damaged.json", damaged);
  const std::string good = Model("good.json", SpinGraph({1000}));
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{"--devices", "0,1"}, {"--wall"}, {"--from-file"}}) {
    SCOPED_TRACE(PrintToString(options));
    std::vector<std::string> arguments = options;
    arguments.insert(arguments.end(), {bad, good});
    const json candidates = Measure(arguments, 2, 1);
    EXPECT_EQ(candidates[0].value("model", ""), good);
    EXPECT_EQ(candidates[0].value("outcome", ""), "measured");
    EXPECT_EQ(candidates[1].value("model", ""), bad);
    EXPECT_EQ(candidates[1].value("outcome", ""), "failed");
    EXPECT_EQ(candidates[1].value("status", 0), 3000);
    EXPECT_THAT(candidates[1].value("reason", ""), AllOf(HasSubstr("spin0"), HasSubstr("type")));
    EXPECT_FALSE(candidates[1].contains("totalCostTime"));
  }
}

TEST_F(OfflineOutcomes, AReasonStaysWithTheCandidateThatItBelongsTo) {
  std::vector<std::string> models;
  for (int i = 0; i < 12; ++i) {
    std::string content = SpinGraph({1000});
    const std::string node = "node" + std::to_string(100 + i);
    content.replace(content.find("\"Spin\""), 6, "\"Spun\"");
    content.replace(content.find("spin0"), 5, node);
    models.push_back(Model(node, content));
  }
  models.insert(models.begin(), {"--devices", "0,1"});
  for (const json& candidate : Measure(models, 12, 1)) {
    const std::string model = candidate.value("model", "");
    EXPECT_THAT(candidate.value("reason", ""), HasSubstr(model.substr(model.rfind('/') + 1)));
  }
}

TEST_F(OfflineOutcomes, AFileWithoutContentFailsByItself) {
  const std::string empty = Model("empty.json", "");
  const json candidates = Measure({empty, "/proc/self/mem"}, 2, 1);
  EXPECT_EQ(candidates[0].value("reason", ""), empty + " is empty");
  EXPECT_EQ(candidates[1].value("reason", ""), "/proc/self/mem cannot be read");
}

TEST_F(OfflineOutcomes, ABoundStopIsNoFailureAndHasFiguresWhenItIsProfiled) {
  const std::string model = Model("slow.json", SpinGraph({100000}));
  const json profiled = Measure({"--bound", "50us", model}, 1, 0)[0];
  EXPECT_EQ(profiled.value("outcome", ""), "bound");
  EXPECT_EQ(profiled.value("status", 0), 3003);
  EXPECT_GT(profiled.value("totalCostTime", 0), 0);
  EXPECT_EQ(profiled.value("operators", json::array()).size(), 1U);

  const json wall = Measure({"--wall", "--bound", "0.05ms", model}, 1, 0)[0];
  EXPECT_EQ(wall.value("outcome", ""), "bound");
  EXPECT_EQ(wall.value("status", 0), 3003);
  EXPECT_FALSE(wall.contains("totalCostTime"));

  // The user's choice of the ending stands: with the default one, the bound is not reported.
  const json idle = Measure({"--bound", "50us", model}, 1, 0, {"ORMO_PROF_END=idle"})[0];
  EXPECT_EQ(idle.value("outcome", ""), "measured");
}

TEST_F(OfflineOutcomes, AModelThatDoesNotFitIsSkippedWhereMemoryIsChecked) {
  const std::string model = Model("big.json", AddGraph(1048576, 1));
  const std::vector<std::string> small = {"ORMO_HOST_MEMORY=1048576"};
  const json skipped = Measure({model}, 1, 0, small)[0];
  EXPECT_EQ(skipped.value("outcome", ""), "skipped");
  EXPECT_EQ(skipped.value("status", 0), 204);
  EXPECT_EQ(skipped.value("reason", ""), "does not fit into the free device memory");
  for (const std::vector<std::string>& unchecked :
       {std::vector<std::string>{"--from-file", model}, {"--mode", "no-check", model}}) {
    const json failed = Measure(unchecked, 1, 1, small)[0];
    EXPECT_EQ(failed.value("status", 0), 3001);
  }
}

TEST_F(OfflineOutcomes, ADeviceThatDoesNotExistEndsTheRunWithItsReason) {
  const std::string model = Model("model.json", SpinGraph({1000}));
  const DriverRun run = RunDriver({"offline", "--devices", "0,7", model}, {"ORMO_HOST_DEVICES=2"});
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_THAT(run.output, IsEmpty());
  EXPECT_THAT(run.errors, ContainsRegex("^ormo-measure: the devices cannot be used: .*EG0013.*"
                                        "Device \\[7\\] does not exist"));
}

TEST_F(OfflineOutcomes, AReportThatCannotBeWrittenIsAFailure) {
  const DriverRun run =
      RunDriver({"offline", Model("model.json", SpinGraph({1000}))}, {}, "/dev/full");
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_EQ(run.errors, "ormo-measure: the report cannot be written\n");
}

}  // namespace
}  // namespace Ormo::Testing
