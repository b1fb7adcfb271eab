#include "online/input_generator.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "common/log.h"
#include "ormo/status.h"
#include "ox/compute_graph.h"
#include "ox/graph_utils.h"
#include "ox/ox_tensor.h"
#include "ox/types.h"

namespace Ormo {
namespace {

constexpr char DATA_TYPE[] = "Data";
constexpr uint8_t FLOATING_POINT_BYTE = 0x3F;  // reads as an ordinary number below 2 in every width
constexpr uint8_t FIRST_BYTE = 1;

bool IsFloatingPoint(ox::DataType type) {
  return type == ox::DT_FLOAT || type == ox::DT_FLOAT16 || type == ox::DT_DOUBLE;
}

std::vector<uint8_t> MakeContent(size_t size, ox::DataType type) {
  if (IsFloatingPoint(type)) {
    return std::vector<uint8_t>(size, FLOATING_POINT_BYTE);
  }
  std::vector<uint8_t> content(size);
  if (size > 0) {
    content[0] = FIRST_BYTE;
  }
  return content;
}

int AppendTensor(const char* nodeName, const ox::OxTensorDesc& desc,
                 std::vector<ox::Tensor>& inputs, CallSite site) {
  const int64_t count = std::max<int64_t>(desc.GetShape().GetShapeSize(), 1);
  const int64_t size = ox::GetSizeInBytes(count, desc.GetDataType());
  if (size < 0) {
    ORMO_LOG_ERROR_AT(site, "op[%s] calc tensor size failed.", nodeName);
    return STATUS_FAILED;
  }
  const ox::TensorDesc tensorDesc = ox::TensorAdapter::OxTensorDesc2TensorDesc(desc);
  ORMO_LOG_INFO_AT(site, "op[%s] get data type %d, size %ld byte(s).", nodeName,
                   static_cast<int>(desc.GetDataType()), size);
  inputs.emplace_back(tensorDesc, MakeContent(static_cast<size_t>(size), desc.GetDataType()));
  return STATUS_SUCCESS;
}

int AppendNodeInputs(ox::Node& node, std::vector<ox::Tensor>& inputs, CallSite site) {
  const auto& opDesc = node.GetOpDesc();
  if (opDesc == nullptr) {
    return STATUS_SUCCESS;
  }
  for (const auto& desc : opDesc->GetAllInputsDesc()) {
    const int status = AppendTensor(node.GetName().c_str(), desc, inputs, site);
    if (status != STATUS_SUCCESS) {
      return status;
    }
  }
  return STATUS_SUCCESS;
}

}  // namespace

int GenerateInput(const ox::Graph& graph, std::vector<ox::Tensor>& inputs, CallSite site) {
  const auto computeGraph = ox::GraphUtilsEx::GetComputeGraph(graph);
  if (computeGraph == nullptr) {
    ORMO_LOG_ERROR_AT(site, "ComputeGraph is nullptr");
    return STATUS_FAILED;
  }
  for (const auto& node : computeGraph->GetDirectNode()) {
    if (node->GetType() != DATA_TYPE) {
      continue;
    }
    const int status = AppendNodeInputs(*node, inputs, site);
    if (status != STATUS_SUCCESS) {
      return status;
    }
  }
  return STATUS_SUCCESS;
}

int GenerateInputForSet(const std::vector<ox::Graph>& graphs,
                        std::vector<std::vector<ox::Tensor>>& inputSets, CallSite site) {
  for (size_t index = 0; index < graphs.size(); ++index) {
    std::vector<ox::Tensor> inputs;
    if (GenerateInput(graphs[index], inputs, site) != STATUS_SUCCESS) {
      ORMO_LOG_ERROR_AT(site, "Generate graph inputs failed");
      return STATUS_FAILED;
    }
    ORMO_LOG_DEBUG_AT(site, "Depend graph_id = %zu input size = %zu", index, inputs.size());
    inputSets.push_back(std::move(inputs));
  }
  return STATUS_SUCCESS;
}

int GenerateRunInputs(const ox::Graph& graph, RunnerConfig& config, CallSite site) {
  ORMO_LOG_LINE(DLOG_EVENT, LOG_TAG, site, "online inputs %zu, depend %zu.",
                config.graphInputs.size(), config.dependGraphs.size());
  if (config.graphInputs.size() > config.dependGraphs.size()) {
    ORMO_LOG_LINE(DLOG_EVENT, LOG_TAG, site, "inputs have been filling.");
    return STATUS_SUCCESS;
  }
  ORMO_LOG_DEBUG_AT(site, "Generate inputs for depend graph");
  if (GenerateInputForSet(config.dependGraphs, config.graphInputs, site) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR_AT(site, "Generate inputs for depend graphs failed");
    return STATUS_FAILED;
  }
  ORMO_LOG_DEBUG_AT(site, "Generate inputs for tuning graph");
  std::vector<ox::Tensor> inputs;
  if (GenerateInput(graph, inputs, site) != STATUS_SUCCESS) {
    ORMO_LOG_ERROR_AT(site, "Generate inputs for tuning graph failed");
    return STATUS_FAILED;
  }
  ORMO_LOG_DEBUG_AT(site, "Tuning graph input size = %zu", inputs.size());
  config.graphInputs.push_back(std::move(inputs));
  return STATUS_SUCCESS;
}

}  // namespace Ormo
