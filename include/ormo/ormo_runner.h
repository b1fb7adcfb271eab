/// \file
/// The library's entry points.
///
/// A runner is initialised once, runs any number of measurements and is finalised; both may be
/// repeated in that order. Every entry point may be called from any thread; an initialisation must
/// not overlap with other calls. Statuses are those of status.h. An exception that is thrown on a
/// worker thread (out of memory, or by a task of the caller's) comes out of the entry point that
/// waits for it; nothing is left behind then.
///
/// **Devices.** The offline, the online and the single-operator runner share devices and workers.
/// The first that is initialised chooses them; the first that is finalised ends the workers of all.
/// The others' loads and runs then fail, and their initialisation, which finds them initialised,
/// returns 0 and changes nothing: finalise all, then initialise again. A runner refuses a worker of
/// a device that was not requested from itself: STATUS_FAILED, and EG0013 "Device [N] does not
/// exist" with the error manager, even if the device exists (not the online runner).
///
/// A device is free when its worker in this process is idle: what other processes do counts only
/// once a run wants the device's lock. It then waits without end, and goes to no other device.
/// Where lock files are, and what becomes of a device that cannot be locked: docs/devices.md.
///
/// **Ends.** Finalisation may overlap with loads, unloads and runs, and so may the end of the
/// process (exit, also from a signal handler or a worker). New calls are refused as before the
/// initialisation; calls that wait for a worker or for a lock end with STATUS_FAILED, and with
/// their output as after any failure; what executes is waited for, and its call ends as usual.
///
/// Calls from a worker (from the task of OrmoOfflineRunProcess) would wait for themselves, and a
/// process that was forked, without exec, from one with workers has none. There, initialisations,
/// loads and runs return STATUS_FAILED and treat their output as calls before the initialisation
/// do, unloads and finalisations do nothing; an error line says why. OrmoGetSocVersion and the
/// simulator, initialised in that process, need no worker and work. A forked child may exit.
///
/// **Reasons.** What the error manager collects for a call belongs to the calling thread's work
/// stream. Threads share one stream, and get each other's reasons, until each has called
/// OrmoErrorManager::OrmoGenWorkStreamIdDefault.
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

/// Runs a task of the caller's on a device worker, with what OrmoOfflineRunModel has around it:
/// choice of the worker by `info.deviceId`, pipe and reading of profiling records when
/// `config.prof` is set, and the result; but without the device's lock. Blocks until the task has
/// ended, and as long as OrmoOfflineRun says when `config.prof` is set.
///
/// `info.profFd` names the pipe's write end while the task runs and is null again on return.
/// On success `result` is filled; a status other than 0 leaves it reset to zeros, but for
/// STATUS_OUT_OF_BOUND of a profiled run, which keeps what was measured, and when nothing was tried
/// because the runner is not initialised. STATUS_FAILED when the offline runner is not initialised
/// or the device has no worker; otherwise the task's status, or that of reading the records
/// (STATUS_PROFILING_FAILED). A STATUS_OUT_OF_BOUND of a profiled task comes out as OrmoOfflineRun
/// says. Rethrows what the task throws, with `result` reset.
ORMO_EXPORT int OrmoOfflineRunProcess(RunnerConfig& config, RunInfo& info, RunnerResult& result,
                                      OfflineTask& task);

}  // namespace Ormo

extern "C" {

/// Initialises the platform, checks the requested devices (none: device 0) and starts a worker
/// thread for each, unless another runner has started them already. A repeated call returns 0 and
/// changes nothing. Blocks for the platform's initialisation.
/// STATUS_FAILED when the platform cannot be initialised or a device does not exist; the reason is
/// with the error manager (EG0013).
ORMO_EXPORT int OrmoOfflineRunnerInit(const Ormo::RunnerInitConfig& config);

/// Ends the runner's calls, then releases contexts and the workers of all runners. Models that are
/// still loaded can no longer be named; they go with the platform's finalisation, which happens
/// when this runner's initialisation was the platform's first. Blocks for what executes.
ORMO_EXPORT void OrmoOfflineRunnerFinalize();

/// Loads a model file on whichever device is free first, and blocks until it is loaded; a load
/// takes no device lock.
/// On success `modelId` is the loaded model's id; otherwise it is left alone.
/// STATUS_PLATFORM_FAILED or STATUS_MEMORY_ALLOCATION_FAILED when the platform refuses the model,
/// STATUS_FAILED when the runner is not initialised or the device could not be set up.
ORMO_EXPORT int OrmoOfflineLoadFromFile(const std::string& modelPath, uint32_t& modelId);

/// The same for an image in memory, which is used only during the call. The device's memory is
/// checked first: STATUS_NOT_ENOUGH_MEMORY when the model does not fit.
ORMO_EXPORT int OrmoOfflineLoadFromMem(const Ormo::OrmoDataInfo& modelData, uint32_t& modelId);

/// Unloads a model, on its device's worker; blocks, also for the runs that are queued there.
/// Failures are only logged.
ORMO_EXPORT void OrmoOfflineUnloadModel(const uint32_t& modelId);

/// Loads the model that `config` names, runs it `config.loop` times and unloads it, all on one
/// device; blocks until then. While it runs, the device is locked against other processes. It waits
/// for the lock with the model loaded.
///
/// On success `result` is filled. When the runner is not initialised, it is left alone; any other
/// failure leaves it reset to zeros, but for STATUS_OUT_OF_BOUND of a profiled run.
/// STATUS_NOT_ENOUGH_MEMORY: the model or its buffers do not fit. Otherwise a status of the load,
/// of the execution (STATUS_EXECUTE_FAILED, STATUS_DYNAMIC_PARAM_FAILED, STATUS_PLATFORM_FAILED,
/// STATUS_DEVICE_MEMORY_FAILED), of the records (STATUS_PROFILING_FAILED), or STATUS_FAILED.
///
/// **The bound.** The first execution that takes `config.runTimeBound` or longer ends the loop:
///   - by wall clock with STATUS_OUT_OF_BOUND, without figures;
///   - profiled with STATUS_SUCCESS, and the figures of the executions so far; where ORMO_PROF_END
///     is "close", with STATUS_OUT_OF_BOUND, even if their records cannot be read: then only
///     `runCostTime` is there;
///   - with outputs to copy, either way, with the status of copying them; by wall clock the figure
///     is then the time of the execution that ended the loop.
/// Whenever there are figures, `result.runCostTime >= config.runTimeBound` tells that the loop
/// ended at the bound: it is then the time of that last execution, and else an average of
/// executions that all took less.
///
/// **Lost records.** A platform that loses records makes a cost too low with status 0. An operator
/// without its record is missing; an execution without its own is missing in `totalCostTime`, which
/// is 0 when none is left. (One that has lost all its operators gives STATUS_PROFILING_FAILED.) A
/// warning line says how many operators lie in no execution; nothing tells of lost operators. A
/// `totalCostTime` well below `runCostTime`, the same by wall clock, may show either.
///
/// **The wait.** A profiled run returns one to two seconds after its work has ended, one that
/// failed within a second, unless the environment variable ORMO_PROF_END is "close" when the call
/// begins: then it returns at once.
ORMO_EXPORT int OrmoOfflineRun(Ormo::RunnerConfig& config, Ormo::RunnerResult& result);

/// Runs a loaded model on the device that holds it; otherwise like OrmoOfflineRun.
/// STATUS_INVALID_PARAM, with `result` left alone, when no model of that id is loaded, also when
/// the runner is not initialised.
ORMO_EXPORT int OrmoOfflineRunModel(const uint32_t& modelId, Ormo::RunnerConfig& config,
                                    Ormo::RunnerResult& result);

/// Chooses the devices for graphs in sessions and starts a worker thread for each: at least one id,
/// not checked against the platform, since a session finds its device by itself; the ids name the
/// lock files that keep other measurements away. Workers that another runner has started are used
/// instead.
/// A repeated call returns 0 and changes nothing. STATUS_FAILED without an id (EG0013 with the
/// error manager) and when a worker cannot be started.
ORMO_EXPORT int OrmoOnlineRunnerInit(const Ormo::RunnerInitConfig& config);

/// Ends the runner's calls, then the workers of all runners. Blocks for what executes.
ORMO_EXPORT void OrmoOnlineRunnerFinalize();

/// Measures `graph` in `config.session`: adds each of `config.dependGraphs`, runs it once and
/// removes it, in order, then adds `graph` and, when `config.prof` is set, runs it `config.loop`
/// times with its profiling records read, else once; blocks until then. Device locks are those of
/// OrmoOfflineRun.
///
/// `config.options` are the compile options of `graph`; the others get the same keys without
/// values. Inputs are taken from `config.graphInputs` by position, dependency graphs first; unless
/// it has more entries than there are dependency graphs, generated ones are appended for all graphs
/// first, and the next call with this `config` finds them there. They fit these graphs: clear the
/// list before another graph is measured, or other dependencies. The outputs of the last execution
/// are appended to `config.graphOutputs`, which grows with each call. The session and `config` must
/// be left alone until the call returns. A function of this library stays registered with the
/// session: before the library is unloaded, the session has to go.
///
/// On success `results` has an entry for each execution that the profiling records show, with its
/// cost and its operators, and nothing else; lost records are missing without a word. It is empty
/// when nothing was profiled, and after a failure, whatever it held.
/// STATUS_PROFILING_FAILED: the records could not be read. STATUS_FAILED: the runner is not
/// initialised, there is no session, or a graph could not be given inputs, added or run; an
/// execution that reaches `config.runTimeBound` counts as one that could not be run. Without `prof`
/// there is no bound.
///
/// An engine that never completes an execution is waited for without end, by finalisation and exit
/// too. Profiled or not, the call returns one to two seconds after its work has ended, unless
/// ORMO_PROF_END is "close": see OrmoOfflineRun.
ORMO_EXPORT int OrmoOnlineRun(const ox::Graph& graph, Ormo::RunnerConfig& config,
                              std::vector<Ormo::RunnerRunResult>& results);

/// Loads the platform's cycle simulator, `bin/libpelt_api.so` in the directory that the environment
/// variable PELTV2 names, for the chip that PELT_SOC_VERSION names. A repeated call returns 0 and
/// changes nothing. Blocks while the library prepares itself.
/// STATUS_FAILED: the chip cannot be simulated, there is no such directory, or the library's
/// preparation threw. STATUS_LIBRARY_NOT_LOADED, STATUS_FUNCTION_MISSING: there is no such library,
/// or it lacks a function. After a failure nothing stays loaded, and the call may be repeated.
ORMO_EXPORT int OrmoPeltRunnerInit();

/// Unloads the simulator, after the simulations that are under way. What it has thrown must be gone
/// by then.
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
/// thread for each, unless another runner has started them already. A repeated call returns 0 and
/// changes nothing. Blocks for the platform's initialisation.
/// STATUS_FAILED when the platform cannot be initialised or a device does not exist (EG0013 with
/// the error manager).
ORMO_EXPORT int OrmoZelnnRunnerInit(const Ormo::RunnerInitConfig& config);

/// Ends the runner's calls, then releases contexts and the workers of all runners, and the platform
/// when this runner's initialisation was its first. Blocks for what executes.
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
/// initialised, its workers have ended with another runner's, the device was not requested or could
/// not be set up, no pipe could be made, the request cannot be read or names an unknown operator,
/// or the operator refused it or failed; the first execution that fails ends the loop. The reason
/// of an operator that refuses is with the error manager.
///
/// Lost records, and the wait of one to two seconds at the end unless ORMO_PROF_END is "close": see
/// OrmoOfflineRun; there is no figure by wall clock to compare with.
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
