/// \file
/// One device of the offline path.
#ifndef ORMO_MODEL_RUN_MANAGER_H
#define ORMO_MODEL_RUN_MANAGER_H

#include <cstdint>
#include <string>
#include <vector>

#include "common/call_site.h"
#include "model/model_manager.h"
#include "ormo/runner_types.h"
#include "zel/zel.h"

namespace Ormo {

/// Owns a device and its context from Init to Finalize and runs measuring requests on it. Used by
/// the device's worker thread, but for Finalize; the destructor releases nothing.
class RunManager {
 public:
  RunManager() = default;
  ~RunManager() = default;
  RunManager(const RunManager&) = delete;
  RunManager& operator=(const RunManager&) = delete;

  /// Sets the device, creates the context, reads the chip's name and sets its operator time-out.
  /// A status other than 0 leaves nothing held; the manager then refuses to work.
  int Init(uint32_t id);

  /// Releases context and device. Any thread, while the worker is idle.
  void Finalize();

  /// Whether the manager can work, after an error line when it cannot, and its context is current
  /// on the calling thread.
  bool IsReady() const;

  /// The chip's name; empty when the platform does not know it.
  std::string GetSocVersion() const { return socVersion; }

  /// Runs the loaded model `runInfo.modelId` as `config` asks: checks memory and buffers, executes,
  /// copies outputs back when all of them have a place. `runInfo.runCostTime` gets the average
  /// wall-clock time of an execution, in ns, after a full loop, else the last execution's time.
  /// STATUS_FAILED when the manager is not ready; else the statuses of status.h. With outputs to
  /// copy, a run that reached its bound ends with the copy's status.
  int Process(const RunnerConfig& config, RunInfo& runInfo) const;

 private:
  int InitResource();
  void DestroyResource();
  int PreProcess(const RunnerConfig& config, ModelManager& modelManager) const;
  int CheckConfig(const RunnerConfig& config, const ModelManager& modelManager) const;
  uint64_t CalcAllocMemSize(const RunnerConfig& config) const;
  int CreateDatasets(const RunnerConfig& config, ModelManager& modelManager) const;
  int Execute(const ModelManager& modelManager, RunInfo& runInfo, const RunnerConfig& config) const;
  int ExecuteWithProf(const ModelManager& modelManager, RunInfo& runInfo,
                      const RunnerConfig& config) const;
  bool IsProcessResult(const std::vector<OrmoDataInfo>& outputs) const;

  bool initFlag = false;
  uint32_t deviceId = 0;
  zelrtContext context = nullptr;
  std::string socVersion;
};

}  // namespace Ormo

#endif  // ORMO_MODEL_RUN_MANAGER_H
