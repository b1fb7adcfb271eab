// The three reports, checked against patterns: figures differ from run to run.
#include <algorithm>
#include <filesystem>
#include <sstream>

#include "driver/driver_process.h"
#include "report.h"

namespace Ormo::Testing {
namespace {

class OfflineReport : public DriverTest {
 protected:
  DriverRun Report(std::vector<std::string> options) const {
    options.insert(options.begin(), "offline");
    options.insert(options.end(), {broken_, slow_, fast_});
    return RunDriver(options);
  }

  const std::string fast_ = File("fast.json", AddGraph(2, 1));
  const std::string slow_ = File("slow, \"quoted\".json", SpinGraph({200000}));
  const std::string broken_ = File("broken.json", "{}");
};

TEST_F(OfflineReport, JsonHasTheFiguresAndWhatRepeatsThem) {
  const json document = Report({"--format", "json", "--devices", "1,0", "--loop", "4", "--bound",
                                "2s", "--mode", "no-check", "--key", "build 7"})
                            .Json();
  ASSERT_TRUE(document.is_object());
  EXPECT_EQ(document["schemaVersion"], 1);
  EXPECT_THAT(document["libraryVersion"], MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+"));
  EXPECT_EQ(document["soc"], "TarnLake1");
  EXPECT_EQ(document["devices"], json({1, 0}));
  const json options = {{"prof", true},
                        {"loop", 4},
                        {"fromFile", false},
                        {"runTimeBound", 2000000000},
                        {"dynamicType", ""},
                        {"runMode", "no-check"},
                        {"dynamicParam", ""},
                        {"buildRunKey", "build 7"},
                        {"inputs", json::array()},
                        {"outputs", json::array()}};
  EXPECT_EQ(document["options"], options);

  const json& candidates = document["candidates"];
  ASSERT_THAT(candidates, SizeIs(3));
  EXPECT_EQ(candidates[2]["model"], broken_);
  EXPECT_FALSE(candidates[2].contains("operators"));
  EXPECT_LE(candidates[0]["totalCostTime"], candidates[1]["totalCostTime"]);
  EXPECT_EQ(candidates[0]["ratioToBest"], 1.0);
  EXPECT_DOUBLE_EQ(
      candidates[1]["ratioToBest"].get<double>(),
      candidates[1]["totalCostTime"].get<double>() / candidates[0]["totalCostTime"].get<double>());
  for (size_t i = 0; i < 2; ++i) {
    const json& candidate = candidates[i];
    EXPECT_GT(candidate["runCostTime"], 0);
    ASSERT_THAT(candidate["operators"], SizeIs(1));
    EXPECT_EQ(candidate["operators"][0]["name"], candidate["model"] == fast_ ? "add0" : "spin0");
    EXPECT_GT(candidate["operators"][0]["costTime"], 0);
    EXPECT_GT(candidate["operators"][0]["aicoreCostTime"], 0);
  }
}

TEST_F(OfflineReport, CsvHasALineForEachOperatorAndQuotesNames) {
  std::vector<std::string> lines = Report({"--format", "csv"}).Lines();
  ASSERT_THAT(lines, SizeIs(4));
  EXPECT_EQ(lines[0],
            "model,outcome,status,totalCostTime,runCostTime,reason,operator,opCostTime,"
            "aicoreCostTime,device,warning");
  EXPECT_THAT(lines[3], MatchesRegex(broken_ + ",failed,3000,,,.+,,,,0,"));
  std::sort(lines.begin() + 1, lines.begin() + 3);  // which of the two is faster is not tested
  EXPECT_THAT(lines[1], MatchesRegex("\".*/slow, \"\"quoted\"\"\\.json\",measured,0,[0-9]+,[0-9]+,,"
                                     "spin0,[0-9]+,[0-9]+,0,"));
  EXPECT_THAT(lines[2], MatchesRegex(fast_ + ",measured,0,[0-9]+,[0-9]+,,add0,[0-9]+,[0-9]+,0,"));
}

TEST_F(OfflineReport, TheTableRanksCandidatesAndShowsTheirOperators) {
  const DriverRun run = Report({"--devices", "0,1", "--loop", "2"});
  EXPECT_EQ(run.exitStatus, 1);
  const std::vector<std::string> lines = run.Lines();
  ASSERT_THAT(lines, SizeIs(14)) << run.output;
  const std::string time = "[0-9.]+ (ns|us|ms|s)";
  EXPECT_EQ(lines[0], "TarnLake1, devices 0, 1; from profiling records, 2 executions each");
  EXPECT_THAT(lines[2], MatchesRegex(" +rank +candidate +device +total +to best +wall"));
  EXPECT_THAT(lines[3], MatchesRegex(" +1  .*\\.json +[01] +" + time + " +1\\.000x +" + time));
  EXPECT_THAT(lines[4], MatchesRegex(" +2  .*\\.json +[01] +" + time + " +[0-9.]+x +" + time));
  EXPECT_THAT(lines[5], MatchesRegex(" +-  .*broken\\.json +[01] +- +- +-  failed \\(3000\\): .+"));
  for (size_t i : {6U, 10U}) {
    EXPECT_THAT(lines[i + 1], MatchesRegex(".*\\.json, by operator"));
    EXPECT_THAT(lines[i + 2], MatchesRegex(" +cost +share +on cores +operator"));
  }
}

TEST_F(OfflineReport, OperatorsOfNoTotalHaveNoShare) {
  OrmoMeasure::Measurement lost;
  lost.result.opCostTimes = {{"op", 1000181}};
  lost.SettleByFigures();
  std::ostringstream table;
  OrmoMeasure::PrintTable(table, OrmoMeasure::OfflineReport{{}, "chip", {}, {lost}});
  EXPECT_THAT(table.str(), HasSubstr("no profiled operator lies in an execution"));
  EXPECT_THAT(table.str(), ContainsRegex("\n +1\\.000 ms +- +0 ns +op *\n$"));
}

// What the driver says, beside what the library logs of the same run.
TEST_F(OfflineReport, WhatIsNotLockedIsInEachReport) {
  const std::string log = directory_ / "log";
  const std::vector<std::string> environment = {"TARN_CACHE_PATH=" + directory_.Path().string(),
                                                "ORMO_HOST_LOG=" + log,
                                                "ORMO_HOST_LOG_LEVEL=warning"};
  std::filesystem::create_directories(directory_ / "ormo_data/Tarn");
  const std::string lock = File("ormo_data/Tarn/.ormo_dev_0.lock", "");
  std::filesystem::permissions(lock, std::filesystem::perms::owner_read);  // the library widens it
  for (const bool isLocked : {true, false}) {
    if (!isLocked) {
      std::filesystem::remove(lock);
      std::filesystem::create_directory(lock);
    }
    const json document = Measure({"offline", fast_}, 0, environment);
    EXPECT_EQ(document["lockDirectory"], directory_ / "ormo_data/Tarn");
    EXPECT_EQ(document["unlockedDevices"].empty(), isLocked);
    EXPECT_EQ(ReadFile(log).find("Device [0] is not locked") == std::string::npos, isLocked);
  }
  const std::string line =
      "device 0 is not locked, other processes may measure on it at the same time: " + lock +
      ": Is a directory\n";
  EXPECT_THAT(RunDriver({"op", fast_}, environment).output, HasSubstr("each\n" + line + "\n"));
  EXPECT_EQ(RunDriver({"online", "--format", "csv", fast_}, environment).errors,
            "ormo-measure: " + line);
}

}  // namespace
}  // namespace Ormo::Testing
