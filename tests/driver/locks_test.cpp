// What the driver says of locks, beside what the library logs of the same run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "driver/driver_process.h"
#include "support/graph_text.h"
#include "support/temp_directory.h"

namespace Ormo::Test {
namespace {

using testing::HasSubstr;

TEST(DriverLocks, AReportSaysWhatIsNotLocked) {
  const TempDirectory directory;
  const std::string model = directory / "model.json";
  WriteFile(model, AddGraph(2, 1));
  const std::string locks = directory / "ormo_data/Tarn";
  const std::string log = directory / "log";
  const std::vector<std::string> environment = {"TARN_CACHE_PATH=" + directory.Path().string(),
                                                "ORMO_HOST_LOG=" + log,
                                                "ORMO_HOST_LOG_LEVEL=warning"};
  for (const bool isLocked : {true, false}) {
    SCOPED_TRACE(isLocked);
    if (!isLocked) {
      std::filesystem::remove(locks + "/.ormo_dev_0.lock");
      std::filesystem::create_directories(locks + "/.ormo_dev_0.lock");
    }
    const nlohmann::json document =
        RunDriver({"offline", "--loop", "1", "--format", "json", model}, environment).Json();
    EXPECT_EQ(document["lockDirectory"], locks);
    EXPECT_EQ(document["unlockedDevices"].empty(), isLocked);
    EXPECT_EQ(ReadFile(log).find("Device [0] is not locked") == std::string::npos, isLocked);
  }
  const std::string line =
      "device 0 is not locked, other processes may measure on it at the same "
      "time: " +
      locks + "/.ormo_dev_0.lock: Is a directory\n";
  EXPECT_THAT(RunDriver({"op", model}, environment).output, HasSubstr("each\n" + line + "\n"));
  const DriverRun csv = RunDriver({"online", "--loop", "1", "--format", "csv", model}, environment);
  EXPECT_THAT(csv.output, testing::StartsWith("model,"));
  EXPECT_EQ(csv.errors, "ormo-measure: " + line);
}

}  // namespace
}  // namespace Ormo::Test
