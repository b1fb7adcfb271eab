// Options that change what a run does.
#include <cstring>
#include <filesystem>

#include "driver/driver_process.h"
#include "support/graph_text.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

using nlohmann::json;

std::string Bytes(const std::vector<float>& values) {
  std::string bytes(values.size() * sizeof(float), '\0');
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

std::vector<float> Floats(const std::string& bytes) {
  std::vector<float> values(bytes.size() / sizeof(float));
  std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
  return values;
}

class OfflineOptions : public testing::Test {
 protected:
  TempDirectory directory_;
  std::string model_ = directory_ / "model.json";
  std::string input_ = directory_ / "in:put.bin";
  std::string output_ = directory_ / "output.bin";
};

TEST_F(OfflineOptions, InputsComeFromFilesAndOutputsGoToFiles) {
  WriteFile(model_, AddGraph(2, 10));
  WriteFile(input_, Bytes({1.5F, -2}));
  for (const char* how : {"--prof", "--wall", "--from-file"}) {
    SCOPED_TRACE(how);
    std::filesystem::remove(output_);
    const DriverRun run =
        RunDriver({"offline", how, "--input", input_, "--output", output_ + ":8", model_});
    EXPECT_EQ(run.exitStatus, 0) << run.output << run.errors;
    EXPECT_THAT(Floats(ReadFile(output_)), ElementsAre(11.5F, 8));
  }
}

TEST_F(OfflineOptions, AnOutputThatCannotBeWrittenIsAFailure) {
  WriteFile(model_, AddGraph(2, 10));
  const DriverRun run =
      RunDriver({"offline", "--format", "csv", "--output", "/dev/full:8", model_});
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_THAT(run.output, HasSubstr("failed,0,"));
  EXPECT_THAT(run.output, HasSubstr("/dev/full cannot be written"));
}

TEST_F(OfflineOptions, TheDynamicBatchIsSetAndTheInputBringsItsShape) {
  WriteFile(model_, R"({"format": "ox-graph", "version": 1, "name": "dynamic",
      "dynamic": {"batch": [2, 3]}, "nodes": [
      {"name": "x", "type": "Data", "outputs": [{"shape": [-1, 2], "dtype": "float32"}]},
      {"name": "relu", "type": "Relu", "inputs": ["x"],
       "outputs": [{"shape": [-1, 2], "dtype": "float32"}]}]})");
  WriteFile(input_, Bytes({-1, 2, 3, -4}));
  const std::string setting = directory_ / "setting.bin";
  WriteFile(setting, std::string(8, '\0'));
  const DriverRun run = RunDriver({"offline", "--dynamic-batch", "2", "--input", input_ + ":2x2",
                                   "--input", setting, "--output", output_ + ":16", model_});
  EXPECT_EQ(run.exitStatus, 0) << run.output << run.errors;
  EXPECT_THAT(Floats(ReadFile(output_)), ElementsAre(0, 2, 3, 0));

  for (const std::vector<std::string>& refused :
       {std::vector<std::string>{"--dynamic-batch", "4"}, {"--dynamic-image", "2,2"}}) {
    std::vector<std::string> arguments = {"offline", "--format", "json", model_};
    arguments.insert(arguments.end(), refused.begin(), refused.end());
    const json document = RunDriver(arguments).Json();
    EXPECT_EQ(document["candidates"][0]["status"], 3004);
  }
}

TEST_F(OfflineOptions, TheTraceNamesTheBuild) {
  WriteFile(model_, SpinGraph({1000}));
  const TempDirectory traces;
  const DriverRun run =
      RunDriver({"offline", "--trace", traces.Path(), "--key", "build 7", model_});
  EXPECT_EQ(run.exitStatus, 0) << run.errors;
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(traces.Path())) {
    files.push_back(entry.path());
  }
  ASSERT_THAT(files, SizeIs(1));
  const json trace = json::parse(ReadFile(files[0]), nullptr, false);
  ASSERT_TRUE(trace.is_object());
  std::vector<std::string> names;
  for (const json& event : trace["traceEvents"]) {
    names.push_back(event["name"]);
  }
  EXPECT_THAT(names, Contains("run model -> [build 7]").Times(2));
}

}  // namespace
}  // namespace Ormo::Testing
