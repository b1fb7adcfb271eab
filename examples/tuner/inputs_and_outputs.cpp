// Gives a model inputs of its own sizes, and takes its outputs.
#include <numeric>

#include "ormo/ormo_runner.h"
#include "tuner.h"

namespace {

// One vector for each input or output. Their elements are taken for float here.
using Buffers = std::vector<std::vector<float>>;

std::vector<Ormo::OrmoDataInfo> Make(const std::vector<uint64_t>& sizes, Buffers& buffers) {
  std::vector<Ormo::OrmoDataInfo> infos(sizes.size());
  for (size_t i = 0; i < sizes.size(); ++i) {
    const size_t count = (sizes[i] + sizeof(float) - 1) / sizeof(float);
    std::vector<float>& buffer = buffers.emplace_back(count, 0.5F);
    infos[i].data = buffer.data();
    infos[i].size = sizes[i];
  }
  return infos;
}

int Run(uint32_t modelId) {
  Ormo::OfflineModelInfo info;
  int status = OrmoOfflineGetModelInfo(modelId, info);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Description", status, OrmoGetFailureReason());
  }
  Buffers inputs;
  Buffers outputs;
  Ormo::RunnerConfig config;
  config.inputs = Make(info.inputSizes, inputs);
  config.outputs = Make(info.outputSizes, outputs);
  Ormo::RunnerResult result;
  Ormo::RunDetail detail;
  status = OrmoOfflineRunModelDetailed(modelId, config, {}, result, detail);
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Run", status, detail.reason);
  }
  for (size_t i = 0; i < outputs.size(); ++i) {
    std::cout << "output " << i << ", "
              << (info.outputNames.empty() ? "whose name is not known" : info.outputNames[i])
              << ": " << info.outputSizes[i] << " bytes, whose elements add up to "
              << std::accumulate(outputs[i].begin(), outputs[i].end(), 0.0) << "\n";
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return Usage("inputs_and_outputs MODEL");
  }
  int status = OrmoOfflineRunnerInit({});
  if (status != Ormo::STATUS_SUCCESS) {
    return Failed("Initialisation", status, OrmoGetFailureReason());
  }
  Ormo::ModelInfo model;
  model.modelPath = argv[1];
  int exitStatus = 1;
  status = OrmoOfflineLoadOnDevice(model, Ormo::ANY_DEVICE_ID);
  if (status == Ormo::STATUS_SUCCESS) {
    exitStatus = Run(model.modelId);
    OrmoOfflineUnloadModel(model.modelId);
  } else {
    Failed(argv[1], status, OrmoGetFailureReason());
  }
  OrmoOfflineRunnerFinalize();
  return exitStatus;
}
