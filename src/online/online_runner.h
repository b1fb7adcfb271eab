/// \file
/// The runner of online graphs.
#ifndef ORMO_ONLINE_ONLINE_RUNNER_H
#define ORMO_ONLINE_ONLINE_RUNNER_H

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "common/init_flag.h"
#include "common/singleton.h"
#include "device/runner_calls.h"
#include "ormo/runner_types.h"

namespace Ormo {

/// Measures graphs in a session of the caller's: dependency graphs run once each, the tuning graph
/// runs under graph-level profiling. Init, Finalize and Process run on the caller's thread; Init
/// must not overlap with anything. Finalize refuses further calls, lets those that wait end with
/// STATUS_FAILED and waits for those that execute.
class OnlineRunner : public Singleton<OnlineRunner> {
 public:
  int Init(const RunnerInitConfig& config) const;
  void Finalize() const;

  /// A call of the calling thread's as long as the object lives: finalisation and the end of the
  /// process wait for it.
  static InitFlag::Call Enter() { return InitFlag::Call(initFlag_); }

  /// Measures `graph` on whichever worker is free first and blocks until that is done. `results`
  /// holds, after a status of 0, the executions that the profiling stream showed; it is empty after
  /// any other status. Rethrows what the worker throws.
  int Process(const ox::Graph& graph, RunnerConfig& config,
              std::vector<RunnerRunResult>& results) const;

 private:
  friend class Singleton<OnlineRunner>;
  OnlineRunner() = default;

  // These run on the worker.
  static int Run(const ox::Graph& graph, RunnerConfig& config, RunInfo& runInfo,
                 const error_message::Context& context, uint32_t deviceId);
  static int Execute(const ox::Graph& graph, RunnerConfig& config, const RunInfo& runInfo);
  /// Calls `work` with the id of a new graph in the session, which is then removed again, and with
  /// the position of its inputs, and moves that on.
  template <typename Work>
  static int WithGraph(const ox::Graph& graph, const std::map<std::string, std::string>& options,
                       uint32_t& inputIndex, ox::Session& session, Work work);
  static int ExecuteDependGraph(const ox::Graph& graph, uint32_t& inputIndex, RunnerConfig& config);
  static int ExecuteTuningGraph(const ox::Graph& graph, uint32_t& inputIndex, RunnerConfig& config,
                                const RunInfo& runInfo);
  static int ExecuteGraphWithProf(uint32_t graphId, uint32_t inputIndex, RunnerConfig& config,
                                  const RunInfo& runInfo);
  static int ExecuteGraphOnce(uint32_t graphId, uint32_t inputIndex, RunnerConfig& config);
  /// ExecuteGraph, with its wall-clock time in ns.
  static int TimeGraph(uint32_t graphId, uint32_t inputIndex, RunnerConfig& config,
                       bool saveOutputs, uint64_t& costTime);
  static int ExecuteGraph(uint32_t graphId, uint32_t inputIndex, RunnerConfig& config,
                          bool saveOutputs);

  static InitFlag initFlag_;
  /// The graph id that was given out last; never given out again, whichever session gets it.
  static std::atomic<uint32_t> id_;

  const RunnerExit exit_{initFlag_};
};

}  // namespace Ormo

#endif  // ORMO_ONLINE_ONLINE_RUNNER_H
