// The models that come with the project.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "driver/driver_process.h"
#include "support/temp_directory.h"

namespace Ormo::Test {
namespace {

using testing::FloatNear;
using testing::Pointwise;

const std::string EXAMPLES = ORMO_EXAMPLES_PATH "/";

struct Network {
  const char* name;
  size_t inputs;
  size_t outputs;
};

class Networks : public testing::TestWithParam<Network> {
 protected:
  Networks() {
    std::string bytes(GetParam().inputs * sizeof(float), '\0');
    for (size_t i = 0; i < GetParam().inputs; ++i) {
      const float value = static_cast<float>(i % 19) / 19.0F - 0.4F;
      std::memcpy(&bytes[i * sizeof(float)], &value, sizeof(float));
    }
    WriteFile(directory_ / "input", bytes);
  }

  std::vector<float> Outputs(int tile) const {
    const std::string size = std::to_string(GetParam().outputs * sizeof(float));
    const DriverRun run =
        RunDriver({"offline", "--wall", "--loop", "1", "--input", directory_ / "input", "--output",
                   directory_ / "output:" + size,
                   EXAMPLES + GetParam().name + "/tile-" + std::to_string(tile) + ".json"});
    EXPECT_EQ(run.exitStatus, 0) << run.output << run.errors;
    const std::string bytes = ReadFile(directory_ / "output");
    std::vector<float> values(bytes.size() / sizeof(float));
    std::memcpy(values.data(), bytes.data(), bytes.size());
    return values;
  }

  TempDirectory directory_;
};

TEST_P(Networks, AllCandidateBuildsComputeTheSame) {
  const std::vector<float> expected = Outputs(0);
  ASSERT_EQ(expected.size(), GetParam().outputs);
  EXPECT_NE(expected.front(), expected.back()) << "a constant output would prove nothing";
  for (int tile : {64, 16, 8}) {
    EXPECT_THAT(Outputs(tile), Pointwise(FloatNear(1e-4F), expected)) << "tile " << tile;
  }
}

INSTANTIATE_TEST_SUITE_P(Examples, Networks,
                         testing::Values(Network{"perceptron", 50176, 640},
                                         Network{"transformer", 8192, 8192}),
                         [](const auto& instance) { return instance.param.name; });

TEST(Examples, SpinsAndTheDynamicPerceptronRun) {
  const DriverRun spins = RunDriver({"offline", "--loop", "2", EXAMPLES + "spin/10us.json",
                                     EXAMPLES + "spin/100us.json", EXAMPLES + "spin/1ms.json"});
  EXPECT_EQ(spins.exitStatus, 0) << spins.output;
  for (const char* batch : {"1", "8", "32"}) {
    const DriverRun run = RunDriver({"offline", "--loop", "2", "--dynamic-batch", batch,
                                     EXAMPLES + "dynamic/perceptron-batch.json"});
    EXPECT_EQ(run.exitStatus, 0) << batch << '\n' << run.output;
  }
}

}  // namespace
}  // namespace Ormo::Test
