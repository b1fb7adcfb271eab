// The example networks give what their mathematics says.
#include <algorithm>
#include <cmath>

#include "end_to_end/reference_network.h"
#include "support/offline_test.h"

namespace Ormo::Testing {
namespace {

constexpr uint64_t INPUT_SEED = 4711;
constexpr double TOLERANCE = 1e-5;

class NetworksTest : public OfflineTest {
 protected:
  static std::string ReadExample(const std::string& name) {
    return ReadFile(ORMO_EXAMPLES_DIR "/" + name);
  }

  // The largest error, relative to the largest expected value.
  static double CompareOutputs(const std::vector<float>& outputs,
                               const std::vector<double>& expected) {
    double error = 0;
    double largest = 0;
    for (size_t index = 0; index < expected.size(); ++index) {
      error = std::max(error, std::abs(static_cast<double>(outputs[index]) - expected[index]));
      largest = std::max(largest, std::abs(expected[index]));
    }
    return error / largest;
  }

  static std::vector<float> Run(RunnerConfig config, const std::string& graph, size_t outputSize) {
    std::vector<float> outputs(outputSize, std::nanf(""));
    config.modelData = AsBuffer(graph);
    config.outputs = {AsBuffer(outputs)};
    RunnerResult result;
    EXPECT_EQ(OrmoOfflineRun(config, result), STATUS_SUCCESS);
    return outputs;
  }

  // Runs every build of a network whose input has that shape and compares it with the reference.
  static void ExpectRightBuilds(const std::string& network, size_t rows, size_t columns) {
    Init();
    const std::vector<double> input = Generate(INPUT_SEED, rows * columns);
    const std::vector<float> data(input.begin(), input.end());
    const std::vector<double> expected =
        ComputeNetwork(ReadExample(network + "/tile-0.json"), input, rows);
    for (const char* tile : {"0", "64", "16", "8"}) {
      SCOPED_TRACE(tile);
      RunnerConfig config;
      config.inputs = {AsBuffer(data)};
      const std::string graph = ReadExample(network + "/tile-" + tile + ".json");
      EXPECT_LT(CompareOutputs(Run(config, graph, expected.size()), expected), TOLERANCE);
    }
  }
};

TEST_F(NetworksTest, ThePerceptronsProbabilities) {
  ExpectRightBuilds("perceptron", 64, 784);
}

TEST_F(NetworksTest, TheTransformerBlock) {
  ExpectRightBuilds("transformer", 64, 128);
}

}  // namespace
}  // namespace Ormo::Testing
