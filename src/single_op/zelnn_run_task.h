/// \file
/// What the single-operator runner commits to a device's worker.
#ifndef ORMO_SINGLE_OP_ZELNN_RUN_TASK_H
#define ORMO_SINGLE_OP_ZELNN_RUN_TASK_H

#include <cstdint>
#include <vector>

#include "device/manager_map.h"
#include "ormo/runner_types.h"
#include "ormo/zelnn_run_config.h"
#include "single_op/zelnn_run_manager.h"

namespace Ormo {

/// The task runs on the worker of `deviceId`, under the committing thread's error context, and
/// returns statuses of status.h; nothing is caught here. Static members only.
class ZelnnRunTask {
 public:
  ZelnnRunTask() = delete;

  /// Makes the devices known. On the initialising thread, before any task is committed.
  static void Init(const std::vector<uint32_t>& deviceIds);

  /// Finalises the run managers. On the finalising thread, when the workers are idle.
  static void Finalize();

  /// Measures with the device locked against other processes; waits for the lock without limit, and
  /// goes ahead when it cannot be had.
  static int Run(const ZelnnRunConfig& config, RunInfo& runInfo,
                 const error_message::Context& context, uint32_t deviceId);

 private:
  static int InitZelnnRunManager(uint32_t deviceId);

  static ManagerMap<ZelnnRunManager> zelnnRunManagers_;
};

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_ZELNN_RUN_TASK_H
