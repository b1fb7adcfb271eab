// Checks that a candidate computes what a reference does: the same input, the outputs compared.
#include <cmath>

#include "ormo/ormo_runner.h"
#include "tuner.h"

namespace {

// The perceptron's: 64 images of 784 points in, 10 probabilities for each out.
constexpr size_t INPUT_NUM = size_t{64} * 784;
constexpr size_t OUTPUT_NUM = size_t{64} * 10;

int Run(const char* model, std::vector<float>& input, std::vector<float>& output) {
  Ormo::RunnerConfig config;
  config.modelPath = model;
  config.inputs.resize(1);  // all of them, or none: zeros
  config.inputs[0].data = input.data();
  config.inputs[0].size = input.size() * sizeof(float);
  config.outputs.resize(1);
  config.outputs[0].data = output.data();
  config.outputs[0].size = output.size() * sizeof(float);
  Ormo::RunnerResult result;
  Ormo::RunDetail detail;
  const int status = OrmoOfflineRunDetailed(config, {}, result, detail);
  return status == Ormo::STATUS_SUCCESS ? 0 : Failed(model, status, detail.reason);
}

int Compare(const char* reference, const char* candidate) {
  std::vector<float> input(INPUT_NUM);
  for (size_t i = 0; i < input.size(); ++i) {
    input[i] = static_cast<float>(i % 256) / 256;
  }
  std::vector<float> expected(OUTPUT_NUM);
  std::vector<float> output(OUTPUT_NUM);
  if (Run(reference, input, expected) != 0 || Run(candidate, input, output) != 0) {
    return 1;
  }
  float difference = 0;
  for (size_t i = 0; i < output.size(); ++i) {
    difference = std::max(difference, std::abs(output[i] - expected[i]));
  }
  std::cout << "Outputs differ by " << difference << " at most\n";
  return difference < 1e-4F ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    return Usage("inputs_and_outputs REFERENCE CANDIDATE");
  }
  const int status = OrmoOfflineRunnerInit({});
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  const int exitStatus = Compare(argv[1], argv[2]);
  OrmoOfflineRunnerFinalize();
  return exitStatus;
}
