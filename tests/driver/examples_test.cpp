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

/// What a candidate build of a network makes of an input of that many numbers.
std::vector<float> Compute(const std::string& model, size_t inputs, size_t outputs) {
  std::vector<float> values(inputs);
  for (size_t i = 0; i < inputs; ++i) {
    values[i] = static_cast<float>(i % 19) / 19.0F - 0.4F;
  }
  std::string bytes(inputs * sizeof(float), '\0');
  std::memcpy(bytes.data(), values.data(), bytes.size());
  const TempDirectory directory;
  WriteFile(directory / "input", bytes);
  const DriverRun run = RunDriver(
      {"offline", "--wall", "--loop", "1", "--input", directory / "input", "--output",
       directory / "output:" + std::to_string(outputs * sizeof(float)), EXAMPLES + model});
  EXPECT_EQ(run.exitStatus, 0) << run.output << run.errors;
  bytes = ReadFile(directory / "output");
  values.resize(bytes.size() / sizeof(float));
  std::memcpy(values.data(), bytes.data(), bytes.size());
  return values;
}

TEST(Examples, AllCandidateBuildsOfANetworkComputeTheSame) {
  struct Network {
    std::string name;
    size_t inputs;
    size_t outputs;
  };

  for (const auto& [name, inputs, outputs] :
       {Network{"perceptron", 50176, 640}, Network{"transformer", 8192, 8192}}) {
    const std::vector<float> expected = Compute(name + "/tile-0.json", inputs, outputs);
    ASSERT_EQ(expected.size(), outputs);
    EXPECT_NE(expected.front(), expected.back()) << "a constant output would prove nothing";
    for (const char* tile : {"64", "16", "8"}) {
      SCOPED_TRACE(name + tile);
      EXPECT_THAT(Compute(name + "/tile-" + tile + ".json", inputs, outputs),
                  Pointwise(FloatNear(1e-4F), expected));
    }
  }
}

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
