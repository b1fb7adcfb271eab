// The models that come with the project.
#include <gtest/gtest.h>

#include "driver/driver_process.h"

namespace Ormo::Test {
namespace {

TEST(Examples, TheDynamicPerceptronRunsWithEveryBatch) {
  for (const char* batch : {"1", "8", "32"}) {
    const DriverRun run =
        RunDriver({"offline", "--loop", "2", "--dynamic-batch", batch,
                   std::string(ORMO_EXAMPLES_PATH) + "/dynamic/perceptron-batch.json"});
    EXPECT_EQ(run.exitStatus, 0) << batch << '\n' << run.output;
  }
}

}  // namespace
}  // namespace Ormo::Test
