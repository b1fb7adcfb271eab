// The models that come with the project.
#include <gtest/gtest.h>

#include "driver/driver_process.h"

namespace Ormo::Test {
namespace {

TEST(Examples, SpinsAndTheDynamicPerceptronRun) {
  const std::string examples = ORMO_EXAMPLES_PATH "/";
  const DriverRun spins = RunDriver({"offline", "--loop", "2", examples + "spin/10us.json",
                                     examples + "spin/100us.json", examples + "spin/1ms.json"});
  EXPECT_EQ(spins.exitStatus, 0) << spins.output;
  for (const char* batch : {"1", "8", "32"}) {
    const DriverRun run = RunDriver({"offline", "--loop", "2", "--dynamic-batch", batch,
                                     examples + "dynamic/perceptron-batch.json"});
    EXPECT_EQ(run.exitStatus, 0) << batch << '\n' << run.output;
  }
}

}  // namespace
}  // namespace Ormo::Test
