/// \file
/// The library's entry points.
///
/// A runner is initialised once, runs any number of measurements and is finalised; both may be
/// repeated in that order. Every entry point may be called from any thread; initialisation and
/// finalisation must not overlap with other calls. Statuses are those of status.h. An exception
/// that is thrown on a worker thread (out of memory, or by a task of the caller's) comes out of the
/// entry point that waits for it; nothing is left behind then.
#ifndef ORMO_ORMO_RUNNER_H
#define ORMO_ORMO_RUNNER_H

#include <cstdint>
#include <string>
#include <vector>

#include "ormo/export.h"
#include "ormo/runner_types.h"
#include "ormo/status.h"
#include "ormo/zelnn_run_config.h"

namespace Ormo {

/// Runs a task of the caller's on a device worker, with all that OrmoOfflineRunModel has around it:
/// choice of the worker by `info.deviceId`, pipe and reading of profiling records when
/// `config.prof` is set, and the result. Blocks until the task has ended.
///
/// `info.profFd` names the pipe's write end while the task runs and is null again on return.
/// On success `result` is filled; a status other than 0 leaves it reset to zeros, but for
/// STATUS_OUT_OF_BOUND of a profiled run, which keeps what was measured, and when nothing was tried
/// because the runner is not initialised. STATUS_FAILED when the offline runner is not initialised
/// or the device has no worker; otherwise the task's status, or that of reading the records
/// (STATUS_PROFILING_FAILED). Rethrows what the task throws.
ORMO_EXPORT int OrmoOfflineRunProcess(RunnerConfig& config, RunInfo& info, RunnerResult& result,
                                      OfflineTask& task);

}  // namespace Ormo

extern "C" {

/// Initialises the platform, checks the requested devices and starts a worker thread for each.
/// A repeated call returns 0 and changes nothing. Blocks for the platform's initialisation.
/// STATUS_FAILED when the platform cannot be initialised or a device does not exist; the reason is
/// with the error manager (EG0013).
ORMO_EXPORT int OrmoOfflineRunnerInit(const Ormo::RunnerInitConfig& config);

/// Releases contexts and workers; models that are still loaded go with the platform's finalisation,
/// which happens when this runner's initialisation was the platform's first.
ORMO_EXPORT void OrmoOfflineRunnerFinalize();

/// Loads a model file on whichever device is free first, and blocks until it is loaded.
/// On success `modelId` is the loaded model's id; otherwise it is left alone.
/// STATUS_PLATFORM_FAILED or STATUS_MEMORY_ALLOCATION_FAILED when the platform refuses the model,
/// STATUS_FAILED when the runner is not initialised or the device could not be set up.
ORMO_EXPORT int OrmoOfflineLoadFromFile(const std::string& modelPath, uint32_t& modelId);

/// The same for an image in memory, which is used only during the call. The device's memory is
/// checked first: STATUS_NOT_ENOUGH_MEMORY when the model does not fit.
ORMO_EXPORT int OrmoOfflineLoadFromMem(const Ormo::OrmoDataInfo& modelData, uint32_t& modelId);

/// Unloads a model, on its device's worker; blocks. Failures are only logged.
ORMO_EXPORT void OrmoOfflineUnloadModel(const uint32_t& modelId);

/// Loads the model that `config` names, runs it `config.loop` times and unloads it, all on one
/// device; blocks until then. While it runs, the device is locked against other processes.
///
/// On success `result` is filled. STATUS_NOT_ENOUGH_MEMORY: the model or its buffers do not fit.
/// STATUS_OUT_OF_BOUND: an execution reached `config.runTimeBound`; a profiled run keeps the result
/// of the executions so far. Any other status leaves `result` reset to zeros: those of the load, of
/// the execution (STATUS_EXECUTE_FAILED, STATUS_DYNAMIC_PARAM_FAILED, STATUS_PLATFORM_FAILED,
/// STATUS_DEVICE_MEMORY_FAILED), of the records (STATUS_PROFILING_FAILED), or STATUS_FAILED.
///
/// A profiled run returns 1 to 2 seconds after its last record, unless the environment variable
/// ORMO_PROF_END is "close": then it returns at once.
ORMO_EXPORT int OrmoOfflineRun(Ormo::RunnerConfig& config, Ormo::RunnerResult& result);

/// Runs a loaded model on the device that holds it; otherwise like OrmoOfflineRun.
/// STATUS_INVALID_PARAM, with `result` left alone, when no model of that id is loaded.
ORMO_EXPORT int OrmoOfflineRunModel(const uint32_t& modelId, Ormo::RunnerConfig& config,
                                    Ormo::RunnerResult& result);

/// Chooses the devices for graphs in sessions and starts a worker thread for each: at least one id,
/// not checked against the platform, since a session finds its device by itself; the ids name the
/// lock files that keep other measurements away. Devices and workers are shared with the other
/// runners: the first that is initialised chooses them, the first that is finalised ends them.
/// A repeated call returns 0 and changes nothing. STATUS_FAILED without an id (EG0013 with the
/// error manager) and when a worker cannot be started.
ORMO_EXPORT int OrmoOnlineRunnerInit(const Ormo::RunnerInitConfig& config);

/// Releases the workers.
ORMO_EXPORT void OrmoOnlineRunnerFinalize();

/// Measures `graph` in `config.session`: adds each of `config.dependGraphs`, runs it once and
/// removes it, in order, then adds `graph` and, when `config.prof` is set, runs it `config.loop`
/// times with its profiling records read, else once; blocks until then. Device locks are those of
/// OrmoOfflineRun.
///
/// `config.options` are the compile options of `graph`; the others get the same keys without
/// values. Inputs are taken from `config.graphInputs` by position, dependency graphs first; unless
/// it has more entries than there are dependency graphs, generated ones are appended for all graphs
/// first. The outputs of the last execution are appended to `config.graphOutputs`. The session and
/// `config` must be left alone until the call returns.
///
/// On success `results` has an entry for each execution that the profiling records show, with its
/// cost and its operators, and nothing else; it is empty when nothing was profiled, and after a
/// failure.
/// STATUS_PROFILING_FAILED: the records could not be read. STATUS_FAILED: the runner is not
/// initialised, there is no session, or a graph could not be given inputs, added or run; an
/// execution that reaches `config.runTimeBound` counts as one that could not be run.
///
/// An engine that never completes an execution is waited for without end. A profiled run returns 1
/// to 2 seconds after its last record, unless ORMO_PROF_END is "close": see OrmoOfflineRun.
ORMO_EXPORT int OrmoOnlineRun(const ox::Graph& graph, Ormo::RunnerConfig& config,
                              std::vector<Ormo::RunnerRunResult>& results);

/// Loads the platform's cycle simulator, `bin/libpelt_api.so` in the directory that the environment
/// variable PELTV2 names, for the chip that PELT_SOC_VERSION names. A repeated call returns 0 and
/// changes nothing. Blocks while the library prepares itself.
/// STATUS_FAILED: the chip cannot be simulated, there is no such directory, or the library's
/// preparation threw. STATUS_LIBRARY_NOT_LOADED, STATUS_FUNCTION_MISSING: there is no such library,
/// or it lacks a function. After a failure nothing stays loaded, and the call may be repeated.
ORMO_EXPORT int OrmoPeltRunnerInit();

/// Unloads the simulator. What it has thrown must be gone by then.
ORMO_EXPORT void OrmoPeltRunnerFinalize();

/// Simulates the kernels of a graph file, without a device and on the calling thread; blocks for
/// it. Calls may overlap as far as the simulator allows that; the host platform's does.
///
/// A kernel is a node of the graph whose text attribute "json_file_path" names its description:
/// for "/k/add.json" it is the function "add__kernel0" in "/k/add.dux". Relative paths start at the
/// working directory. All figures are the simulator's ticks.
///
/// `result` is not reset. `opCostTimes` and `aicoreCostTimes` get an entry for each kernel, by the
/// node's name; of two kernels of one name the later one's figure stays. Both totals grow by the
/// figures of all kernels. A figure of all ones means more than the simulator can count and makes
/// both totals the same, and so does a sum that does not fit; once `totalCostTime` is there,
/// nothing is added any more. Neither is a failure. A graph without kernels leaves `result` alone.
///
/// STATUS_FAILED: the runner is not initialised or the graph cannot be loaded, with `result` left
/// alone; or a kernel cannot be simulated, with the kernels before it in `result` and an entry of 0
/// for it. Rethrows what the simulator throws, with `result` in the same state.
ORMO_EXPORT int OrmoPeltRun(const std::string& graphFile, Ormo::RunnerResult& result);

/// Initialises the platform, checks the requested devices (none: device 0) and starts a worker
/// thread for each. Devices and workers are shared as OrmoOnlineRunnerInit says; a measurement that
/// then meets a worker of a device that was not requested here fails. A repeated call returns 0 and
/// changes nothing. Blocks for the platform's initialisation.
/// STATUS_FAILED when the platform cannot be initialised or a device does not exist (EG0013 with
/// the error manager).
ORMO_EXPORT int OrmoZelnnRunnerInit(const Ormo::RunnerInitConfig& config);

/// Releases contexts and workers, and the platform when this runner's initialisation was its first.
/// After another runner has finalised the platform, measurements fail until this one is finalised
/// and initialised again.
ORMO_EXPORT void OrmoZelnnRunnerFinalize();

/// Measures one operator of the platform's operator interface: calls it `config.loop` times on
/// whichever device is free first, with its profiling records read; blocks until then. While it
/// runs, the device is locked against other processes. A device that cannot be set up fails the
/// measurement, and the next one tries again.
///
/// On success `result` is filled: `totalCostTime` with the average cost of an execution by its
/// records, both maps with the averages of each operator that the records name; `runCostTime` is 0.
/// A success without records, for instance with a `loop` of 0, leaves `result` as it is. After a
/// failure it is reset to zeros, unless the runner is not initialised: then it is left alone.
/// STATUS_PROFILING_FAILED: the records could not be read. STATUS_FAILED: the runner is not
/// initialised, its workers have ended with another runner's, the device could not be set up, no
/// pipe could be made, the request cannot be read or names an unknown
/// operator, or the operator refused it or failed; the first execution that fails ends the loop.
/// The reason of an operator that refuses is with the error manager.
///
/// Returns 1 to 2 seconds after the last record, unless ORMO_PROF_END is "close": see
/// OrmoOfflineRun.
ORMO_EXPORT int OrmoZelnnRun(const Ormo::ZelnnRunConfig& config, Ormo::RunnerResult& result);

#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif
/// The chip's name: the value of the environment variable PELT_SOC_VERSION when it is set (also to
/// nothing), else what the platform says, else empty. Does not block; needs no initialisation.
ORMO_EXPORT std::string OrmoGetSocVersion();
#ifdef __clang__
#pragma clang diagnostic pop
#endif

}  // extern "C"

#endif  // ORMO_ORMO_RUNNER_H
