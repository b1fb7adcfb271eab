/// \file
/// What the offline runner commits to a device's worker.
#ifndef ORMO_OFFLINE_RUN_TASK_H
#define ORMO_OFFLINE_RUN_TASK_H

#include <cstdint>
#include <vector>

#include "device/manager_map.h"
#include "model/run_manager.h"
#include "ormo/ormo_runner_detail.h"
#include "ormo/runner_types.h"

namespace Ormo {

/// Tasks run on the worker of `deviceId`, under the committing thread's error context, and return
/// statuses of status.h; nothing is caught here. Static members only.
class RunTask {
 public:
  RunTask() = delete;

  /// Makes the devices known. On the initialising thread, before any task is committed.
  static void Init(const std::vector<uint32_t>& deviceIds);

  /// Finalises the run managers. On the finalising thread, when the workers are idle.
  static void Finalize();

  /// Loads the model that `info` names; `info.modelId` and `info.deviceId` say which and where.
  static int LoadModel(ModelInfo& info, const error_message::Context& context, uint32_t deviceId);

  /// Runs the loaded model `info.modelId` with the device locked against other processes; waits for
  /// the lock without limit, and goes ahead when it cannot be had.
  static int Run(const RunnerConfig& config, RunInfo& info, const error_message::Context& context,
                 uint32_t deviceId);

  /// Loads the model that `config` names, runs it and unloads it.
  static int RunModel(const RunnerConfig& config, RunInfo& info,
                      const error_message::Context& context, uint32_t deviceId);

  /// Tells what the loaded model is. Does not lock the device.
  static int DescribeModel(uint32_t modelId, OfflineModelInfo& info,
                           const error_message::Context& context, uint32_t deviceId);

  static void UnloadModel(const uint32_t& modelId, const error_message::Context& context,
                          uint32_t deviceId);

 private:
  static int InitRunManager(uint32_t deviceId);

  static ManagerMap<RunManager> runManagers_;
};

}  // namespace Ormo

#endif  // ORMO_OFFLINE_RUN_TASK_H
