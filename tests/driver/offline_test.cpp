// Offline models: what options change, what becomes of candidates and of the exit status.
#include <filesystem>

#include "driver/driver_process.h"

namespace Ormo::Testing {
namespace {

class DriverOffline : public DriverTest {
 protected:
  const std::string output_ = directory_ / "output";
};

TEST_F(DriverOffline, InputsComeFromFilesAndOutputsGoToFiles) {
  const std::string copy = File("copy.json", SpinGraph({0}));
  const std::string input = File("in:put.bin", "abcd");
  for (const char* how : {"--prof", "--wall", "--from-file"}) {
    SCOPED_TRACE(how);
    for (const char* size : {"", ":4"}) {
      const DriverRun run =
          RunDriver({"offline", how, "--input", input, "--output", output_ + size, copy});
      EXPECT_EQ(run.exitStatus, 0) << run.output << run.errors;
      EXPECT_EQ(ReadFile(output_), "abcd");
      std::filesystem::remove(output_);
    }
  }
  const json lost = Measure({"offline", "--output", "/dev/full:4", copy}, 1)["candidates"][0];
  EXPECT_EQ(lost.value("outcome", "") + lost.value("reason", ""),
            "failed/dev/full cannot be written");
  EXPECT_EQ(lost.value("status", 1), 0);
  const std::string open =
      File("open.json",
           Graph({Node("x", "Data", "", {-1}), Node("y", "Spin", "\"x\"", {-1}, "\"ns\": 0")}));
  const json untold =
      Measure({"offline", "--input", File("x", "abcd") + ":1", "--output", output_, open}, 1);
  EXPECT_EQ(untold["candidates"][0]["reason"],
            "the model does not tell the size of the output for " + output_);
}

TEST_F(DriverOffline, TheDynamicBatchIsSetAndTheInputBringsItsShape) {
  const std::string model = File(
      "model.json",
      Graph({Node("x", "Data", "", {-1, 2}), Node("copy", "Spin", "\"x\"", {-1, 2}, "\"ns\": 0")},
            R"("dynamic": {"batch": [2, 3]})"));
  const DriverRun run = RunDriver(
      {"offline", "--dynamic-batch", "2", "--input", File("input", "abcdefghijklmnop") + ":2x2",
       "--input", File("setting", std::string(8, '\0')), "--output", output_ + ":16", model});
  EXPECT_EQ(run.exitStatus, 0) << run.output << run.errors;
  EXPECT_EQ(ReadFile(output_), "abcdefghijklmnop");
  EXPECT_EQ(RunDriver({"offline", "--dynamic-batch", "2", "--output", output_, model}).exitStatus,
            0);
  EXPECT_EQ(ReadFile(output_).size(), 24U) << "of the largest setting";
  for (const auto& [option, value] :
       {std::pair("--dynamic-batch", "4"), {"--dynamic-image", "2,2"}}) {
    EXPECT_EQ(Measure({"offline", option, value, model}, 1)["candidates"][0]["status"], 3004);
  }
}

TEST_F(DriverOffline, EveryCommandLeavesATraceAndNamesTheBuild) {
  const std::string model = File("model.json", SpinGraph({1000}));
  const std::pair<std::vector<std::string>, const char*> table[] = {
      {{"offline", "--key", "build 7", model}, "run model -> [build 7]"},
      {{"online", model}, "Run graph"},
      {{"op", ORMO_EXAMPLES_PATH "/operators/attention-small.json"}, "run model"},
  };
  for (auto [arguments, span] : table) {
    const TempDirectory traces;
    arguments.insert(arguments.begin() + 1, {"--trace", traces.Path()});
    const DriverRun run = RunDriver(arguments);
    EXPECT_EQ(run.exitStatus, 0) << run.errors;
    std::string trace;  // of one file: two together are no JSON text
    for (const auto& entry : std::filesystem::directory_iterator(traces.Path())) {
      trace += ReadFile(entry.path());
    }
    const json document = json::parse(trace, nullptr, false);
    int count = 0;
    for (const json& event : document["traceEvents"]) {
      count += event["name"] == span ? 1 : 0;
    }
    EXPECT_EQ(count, 2) << trace;
  }
}

TEST_F(DriverOffline, DamagedModelsFailWithTheirOwnReasonsAndLeaveTheOthersAlone) {
  std::vector<std::string> models;
  for (int i = 0; i < 12; ++i) {
    const std::string node = "node" + std::to_string(100 + i);
    models.push_back(File(node, Graph({Node(node, "Spun", "", {1})})));
  }
  models.push_back(File("good.json", SpinGraph({1000})));
  for (std::vector<std::string> arguments :
       {std::vector<std::string>{"offline", "--devices", "0,1"},
        {"offline", "--wall"},
        {"offline", "--from-file"}}) {
    SCOPED_TRACE(PrintToString(arguments));
    arguments.insert(arguments.end(), models.begin(), models.end());
    json candidates = Measure(arguments, 1)["candidates"];
    ASSERT_THAT(candidates, SizeIs(13));
    EXPECT_EQ(candidates[0]["model"], models.back());
    EXPECT_EQ(candidates[0]["outcome"], "measured");
    for (size_t i = 1; i < candidates.size(); ++i) {
      EXPECT_EQ(candidates[i]["model"], models[i - 1]);
      EXPECT_EQ(candidates[i]["outcome"], "failed");
      EXPECT_EQ(candidates[i]["status"], 3000);
      EXPECT_THAT(candidates[i]["reason"],
                  HasSubstr("node \"node" + std::to_string(99 + i) + "\", key \"type\""));
      EXPECT_FALSE(candidates[i].contains("totalCostTime"));
    }
  }
}

TEST_F(DriverOffline, AFileWithoutContentFailsByItself) {
  const std::string empty = File("empty.json", "");
  json candidates = Measure({"offline", empty, "/proc/self/mem"}, 1)["candidates"];
  ASSERT_THAT(candidates, SizeIs(2));
  EXPECT_EQ(candidates[0]["reason"], empty + " is empty");
  EXPECT_EQ(candidates[1]["reason"], "/proc/self/mem cannot be read");
  EXPECT_TRUE(candidates[1]["device"].is_null());
}

TEST_F(DriverOffline, ABoundStopIsNoFailureAndHasFiguresWhenItIsProfiled) {
  const std::string model = File("slow.json", SpinGraph({100000}));
  json profiled = Measure({"offline", "--bound", "50us", model})["candidates"][0];
  EXPECT_EQ(profiled["outcome"], "bound");
  EXPECT_EQ(profiled["status"], 3003);
  EXPECT_GT(profiled["totalCostTime"], 0);
  EXPECT_THAT(profiled["operators"], SizeIs(1));

  json wall = Measure({"offline", "--wall", "--bound", "0.05ms", model})["candidates"][0];
  EXPECT_EQ(wall["outcome"], "bound");
  EXPECT_EQ(wall["status"], 3003);
  EXPECT_FALSE(wall.contains("totalCostTime"));

  EXPECT_THAT(wall["reason"].get<std::string>(),
              MatchesRegex("Execution 0 took [0-9]+ ns, and the time bound is 50000 ns"));

  // Statuses that do not tell: of the ending that the user has chosen, and of copied outputs.
  const std::string output = output_ + ":4";
  const std::vector<std::string> copies[] = {
      {}, {"--output", output}, {"--wall", "--output", output}};
  for (std::vector<std::string> arguments : copies) {
    const char* ending = arguments.empty() ? "ORMO_PROF_END=idle" : "ORMO_PROF_END=close";
    arguments.insert(arguments.begin(), {"offline", "--devices", "1", "--bound", "50us"});
    arguments.push_back(model);
    json silent = Measure(arguments, 0, {ending})["candidates"][0];
    EXPECT_EQ(silent["outcome"], "bound");
    EXPECT_EQ(silent["status"], 0);
    EXPECT_EQ(silent["reason"], "an execution reached the time bound");
    EXPECT_EQ(silent["device"], 1);
    EXPECT_GT(silent["totalCostTime"], 0);
  }
}

TEST_F(DriverOffline, AModelThatDoesNotFitIsSkippedWhereMemoryIsChecked) {
  const std::string model = File("big.json", AddGraph(1048576, 1));
  const std::vector<std::string> small = {"ORMO_HOST_MEMORY=1048576"};
  json skipped = Measure({"offline", "--output", output_, model}, 0, small)["candidates"][0];
  EXPECT_EQ(skipped["outcome"], "skipped");
  EXPECT_EQ(skipped["status"], 204);
  EXPECT_THAT(skipped["reason"], HasSubstr("4194304 byte(s) are needed, 1048576 free"));
  for (const char* unchecked : {"--from-file", "--mode=no-check"}) {
    EXPECT_EQ(Measure({"offline", unchecked, model}, 1, small)["candidates"][0]["status"], 3001);
  }
}

TEST_F(DriverOffline, DevicesThatDoNotExistAndReportsThatCannotBeWrittenAreFailures) {
  const std::string model = File("model.json", SpinGraph({1000}));
  const DriverRun device =
      RunDriver({"offline", "--devices", "0,7", model}, {"ORMO_HOST_DEVICES=2"});
  EXPECT_EQ(device.exitStatus, 1);
  EXPECT_THAT(device.output, IsEmpty());
  EXPECT_THAT(device.errors, ContainsRegex("^ormo-measure: the devices cannot be used: .*EG0013.*"
                                           "Device \\[7\\] does not exist"));
  const DriverRun report = RunDriver({"offline", model}, {}, "/dev/full");
  EXPECT_EQ(report.exitStatus, 1);
  EXPECT_EQ(report.errors, "ormo-measure: the report cannot be written\n");
}

}  // namespace
}  // namespace Ormo::Testing
