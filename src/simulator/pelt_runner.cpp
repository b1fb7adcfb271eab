#include "simulator/pelt_runner.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>

#include "common/call_context.h"
#include "common/log.h"
#include "common/scope_exit.h"
#include "common/string_utils.h"
#include "common/utils.h"
#include "ormo/status.h"
#include "ox/compute_graph.h"
#include "ox/graph_utils.h"

namespace Ormo {
namespace {

constexpr char SOC_VERSION_VARIABLE[] = "PELT_SOC_VERSION";
// Chips that can be simulated, and what the simulator calls their cores.
constexpr std::array<std::pair<std::string_view, std::string_view>, 1> CHIP_INFO = {
    {{"TarnLake1", "tarn_lake_core"}}};

constexpr char KERNEL_ATTRIBUTE[] = "json_file_path";
constexpr char DESCRIPTION_SUFFIX[] = ".json";
constexpr char KERNEL_SUFFIX[] = ".dux";
constexpr char FUNCTION_SUFFIX[] = "__kernel0";

// Every kernel gets that many arguments of 0.
constexpr size_t ARGUMENT_COUNT = 21;
constexpr uint64_t MAX_TICKS = std::numeric_limits<uint64_t>::max();

OpDuxInfo MakeDuxInfo(const std::string& descriptionPath, const std::string& opName) {
  const std::string base = StringUtils::TrimPrefix(descriptionPath, DESCRIPTION_SUFFIX);
  const std::string name = base.substr(base.rfind('/') + 1);  // all of it without a "/"
  return {base + KERNEL_SUFFIX, name + FUNCTION_SUFFIX, opName};
}

void AddSaturating(uint64_t& total, uint64_t ticks) {
  total += std::min(ticks, MAX_TICKS - total);
}

void AddToTotals(uint64_t ticks, RunnerResult& result) {
  if (ticks == MAX_TICKS) {
    result.totalCostTime = MAX_TICKS;
    result.runCostTime = MAX_TICKS;
  } else if (result.totalCostTime != MAX_TICKS) {
    AddSaturating(result.totalCostTime, ticks);
    AddSaturating(result.runCostTime, ticks);
  }
  if (result.totalCostTime == MAX_TICKS) {
    ORMO_LOG_WARNING("Pelt time is max value.");
  }
}

}  // namespace

int GetDuxInfos(const std::string& graphFile, std::vector<OpDuxInfo>& infos) {
  std::shared_ptr<ox::ComputeGraph> graph;
  if (!ox::GraphUtils::LoadOXGraph(graphFile.c_str(), graph) || graph == nullptr) {
    ORMO_LOG_ERROR("Graph load from File %s failed.", graphFile.c_str());
    return STATUS_FAILED;
  }
  for (const std::shared_ptr<ox::Node>& node : graph->GetDirectNode()) {
    const std::shared_ptr<ox::OpDesc> desc = node->GetOpDesc();
    std::string descriptionPath;
    if (desc != nullptr && ox::AttrUtils::GetStr(desc, KERNEL_ATTRIBUTE, descriptionPath) &&
        !descriptionPath.empty()) {
      infos.push_back(MakeDuxInfo(descriptionPath, node->GetName()));
    }
  }
  return STATUS_SUCCESS;
}

int PeltRunner::Init() {
  if (initFlag) {
    ORMO_LOG_WARNING("Pelt runner is already initialized");
    return STATUS_SUCCESS;
  }
  const std::string socVersion = Utils::FindEnv(SOC_VERSION_VARIABLE).value_or("");
  const auto* const chip = std::find_if(CHIP_INFO.begin(), CHIP_INFO.end(),
                                        [&](const auto& row) { return row.first == socVersion; });
  if (chip == CHIP_INFO.end()) {
    CallContext::KeepReason("PELT_SOC_VERSION names no chip that can be simulated");
    ORMO_LOG_ERROR("CHIP_INFO does not exist.");
    return STATUS_FAILED;
  }
  coreName = chip->second;
  const int status = InitPeltLib(funcInfo);
  if (status != STATUS_SUCCESS) {
    ORMO_LOG_ERROR("Init Pelt module for tuning failed.");
    return status;
  }
  initFlag.Set();
  return STATUS_SUCCESS;
}

int PeltRunner::InitPeltLib(PeltFuncInfo& library) const {
  return LoadPeltLibrary(library);
}

void PeltRunner::Finalize() {
  const InitFlag::Call call(initFlag);
  if (!initFlag.Clear()) {
    ORMO_LOG_ERROR("Pelt runner has not been initialized.");
    return;
  }
  initFlag.AwaitCalls();
  if (funcInfo.handle) {
    funcInfo = {};
    ORMO_LOG_INFO("Zel finalize");
  }
  ORMO_LOG_INFO("Finalize running finished.");
}

int PeltRunner::Process(const std::string& graphFile, RunnerResult& result) const {
  const InitFlag::Call call(initFlag);
  if (!call) {
    ORMO_LOG_ERROR("Pelt runner has not been initialized.");
    return STATUS_FAILED;
  }
  std::vector<OpDuxInfo> kernels;
  int status = GetDuxInfos(graphFile, kernels);
  if (status != STATUS_SUCCESS) {
    return status;
  }
  for (const OpDuxInfo& kernel : kernels) {
    status = Simulate(kernel, result);
    if (status != STATUS_SUCCESS) {
      return status;
    }
  }
  return STATUS_SUCCESS;
}

int PeltRunner::Simulate(const OpDuxInfo& kernel, RunnerResult& result) const {
  result.aicoreCostTimes[kernel.opName] = 0;
  result.opCostTimes[kernel.opName] = 0;
  ORMO_LOG_DEBUG("Dux info: dux file path is %s; dux function is %s; op name is %s.",
                 kernel.duxFilePath.c_str(), kernel.duxFunction.c_str(), kernel.opName.c_str());
  void* core =
      funcInfo.createPeltCore(kernel.duxFilePath, kernel.duxFunction,
                              std::vector<uint64_t>(ARGUMENT_COUNT), std::string(coreName), {});
  if (core == nullptr) {
    ORMO_LOG_ERROR("Pelt CreatePeltCore return null ptr.");
    return STATUS_FAILED;
  }
  const ScopeExit destroyCore("a simulated core", [this, core] { funcInfo.destroyPeltCore(core); });
  const uint64_t ticks = funcInfo.getTotalTick(core);
  ORMO_LOG_DEBUG("Pelt cost time is %lu.", static_cast<unsigned long>(ticks));
  result.aicoreCostTimes[kernel.opName] = ticks;
  result.opCostTimes[kernel.opName] = ticks;
  AddToTotals(ticks, result);
  return STATUS_SUCCESS;
}

}  // namespace Ormo
