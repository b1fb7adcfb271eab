/// \file
/// One device of the single-operator path.
#ifndef ORMO_SINGLE_OP_ZELNN_RUN_MANAGER_H
#define ORMO_SINGLE_OP_ZELNN_RUN_MANAGER_H

#include <cstdint>
#include <mutex>
#include <string>

#include "ormo/runner_types.h"
#include "ormo/zelnn_run_config.h"
#include "single_op/zelnn_manager.h"
#include "zel/zel.h"

namespace Ormo {

/// Owns a device and its context from Init to Finalize and runs measuring requests on it, one at a
/// time. Used by the device's workers, but for Finalize; the destructor releases nothing.
class ZelnnRunManager {
 public:
  ZelnnRunManager() = default;
  ~ZelnnRunManager() = default;
  ZelnnRunManager(const ZelnnRunManager&) = delete;
  ZelnnRunManager& operator=(const ZelnnRunManager&) = delete;

  /// Sets the device, creates the context and reads the chip's name. A status other than 0 leaves
  /// nothing held: STATUS_PLATFORM_FAILED or STATUS_MEMORY_ALLOCATION_FAILED.
  int Init(uint32_t id);

  /// Releases context and device. Any thread, while the worker is idle.
  void Finalize();

  /// The chip's name; empty when the platform does not know it.
  std::string GetSocVersion() const { return socVersion; }

  /// Executes the operator `config.loop` times, with its records going to `runInfo.profFd`.
  /// `runInfo.runCostTime` gets the average wall-clock time of an execution, in ns, after a full
  /// loop, else the last execution's time. 0, or STATUS_FAILED.
  int Process(const ZelnnRunConfig& config, RunInfo& runInfo) const;

 private:
  int InitResource();
  void DestroyResource();
  int ExecuteWithProf(const ZelnnManager& manager, RunInfo& runInfo,
                      const ZelnnRunConfig& config) const;

  bool initFlag = false;
  uint32_t deviceId = 0;
  zelrtContext context = nullptr;
  std::string socVersion;
  /// Held by a run: a subscription takes in all operators of the device, so that a second worker of
  /// it has to wait.
  mutable std::mutex runMutex_;
};

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_ZELNN_RUN_MANAGER_H
