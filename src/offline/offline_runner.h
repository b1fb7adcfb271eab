/// \file
/// The runner of offline models.
#ifndef ORMO_OFFLINE_OFFLINE_RUNNER_H
#define ORMO_OFFLINE_OFFLINE_RUNNER_H

#include <cstdint>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "common/init_flag.h"
#include "common/singleton.h"
#include "device/runner_calls.h"
#include "offline/model_unload.h"
#include "ormo/runner_types.h"

namespace Ormo {

/// Claims devices and turns loads, runs and unloads into tasks of their workers. Operations may be
/// called from any thread and block until their task has ended; Init must not overlap with others.
/// What a task throws is rethrown. Outside Init and Finalize, from a worker, in a forked child and
/// when the workers end before the task has begun, loads and runs fail with STATUS_FAILED and an
/// error line.
class OfflineRunner : public Singleton<OfflineRunner> {
 public:
  int Init(const RunnerInitConfig& config) const;

  /// Refuses further calls, lets those that wait end with STATUS_FAILED and waits for those that
  /// execute.
  void Finalize();

  /// A call of the calling thread's as long as the object lives: finalisation and the end of the
  /// process wait for it.
  static InitFlag::Call Enter() { return InitFlag::Call(initFlag_); }

  /// Loads on a device, or on whichever is free first; writes `info.modelId` and `info.deviceId`.
  int LoadModel(ModelInfo& info, uint32_t deviceId = ANY_DEVICE_ID);
  void UnloadModel(const uint32_t& modelId);

  /// Runs `task` on the worker of `info.deviceId` and fills `result`, from profiling records when
  /// `config.prof` is set, else by wall clock. A status other than 0 leaves `result` reset, but for
  /// STATUS_OUT_OF_BOUND of a profiled run.
  int Process(OfflineTask& task, RunnerConfig& config, RunInfo& info, RunnerResult& result) const;

  /// The device that holds a model: 0, or STATUS_INVALID_PARAM with `deviceId` left alone.
  int GetDevIdByModelId(uint32_t modelId, uint32_t& deviceId);

 private:
  friend class Singleton<OfflineRunner>;
  OfflineRunner() = default;

  int InitZel() const;
  std::vector<uint32_t> GetDeviceList(const std::vector<uint32_t>& requested) const;
  int NormalProcess(OfflineTask& task, RunnerConfig& config, RunInfo& info,
                    RunnerResult& result) const;
  int ProfProcess(OfflineTask& task, RunnerConfig& config, RunInfo& info,
                  RunnerResult& result) const;
  void InsertModelDevMap(uint32_t modelId, uint32_t deviceId);
  void EraseModelDevMap(uint32_t modelId);
  void ResetRunnerResult(RunnerResult& result) const;

  static InitFlag initFlag_;
  /// This runner's initialisation of the platform was the process's first.
  static bool zelInitFlag_;

  std::mutex modelDevMutex_;
  std::unordered_map<uint32_t, uint32_t> modelDevMap_;
  ModelUnloads unloads_;              ///< of the models in the map
  const RunnerExit exit_{initFlag_};  ///< goes before the rest
};

}  // namespace Ormo

#endif  // ORMO_OFFLINE_OFFLINE_RUNNER_H
