/// \file
/// The records that cross the library's entry points.
///
/// Plain structures. The caller builds RunnerInitConfig, RunnerConfig and OrmoDataInfo; the library
/// fills RunnerResult. Times are nanoseconds.
#ifndef ORMO_RUNNER_TYPES_H
#define ORMO_RUNNER_TYPES_H

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "error_manager/error_manager.h"
#include "ox/graph.h"
#include "ox/tensor.h"

namespace ox {
class Session;
}  // namespace ox

namespace Ormo {

/// A device that is left to the library's choice.
constexpr uint32_t ANY_DEVICE_ID = 0xFFFFFFFF;

/// One buffer in host memory: a model image, an input or an output. What the pointers name stays
/// the caller's and must stay valid during the call that uses it.
struct OrmoDataInfo {
  void* data = nullptr;
  uint64_t size = 0;        ///< bytes behind `data`
  int64_t* dims = nullptr;  ///< shape of the tensor, or null when the model's own shape applies
  uint32_t dimNum = 0;      ///< entries behind `dims`
  uint32_t dataType = 28;   ///< element type in the platform's numbering; 28 is undefined
};

/// How a model image in memory is loaded. A value that is not listed acts like DEFAULT.
enum class RunMode : uint32_t {
  DEFAULT = 0,          ///< check device memory, then load
  PREVIOUS_MEMORY = 1,  ///< load small models into memory of the library's own, unchecked
  NO_MEMORY_CHECK = 2,  ///< load without checking device memory
};

/// One offline model to load.
struct ModelInfo {
  std::string modelPath;   ///< model file; when not empty, `modelData` is ignored
  OrmoDataInfo modelData;  ///< model image, used when `modelPath` is empty
  uint32_t modelId = 0;    ///< output: the platform's id of the loaded model
  uint32_t deviceId = 0;   ///< output: the device that holds it
  RunMode runMode = RunMode::DEFAULT;
};

/// Initialisation of a runner that works on devices.
struct RunnerInitConfig {
  /// Devices to use, one worker thread each. Empty means device 0; the online runner, which asks no
  /// platform for its devices, refuses an empty list.
  std::vector<uint32_t> deviceIds;
};

/// One measuring request.
struct RunnerConfig {
  /// True: figures come from the platform's profiling records. False: from the wall clock around
  /// each execution.
  bool prof = false;
  /// Executions per measurement; 0 executes nothing. An online run without `prof` is one execution.
  uint32_t loop = 1;
  /// The loop ends at the first execution that takes this long or longer, by wall clock. The status
  /// need not tell: see OrmoOfflineRun.
  uint64_t runTimeBound = std::numeric_limits<uint64_t>::max();
  /// Inputs of an offline model, one for each of its inputs. Empty: zeros of the model's own sizes.
  std::vector<OrmoDataInfo> inputs;
  /// Where an offline model's outputs go, one for each of its outputs. Empty, or an entry without
  /// data: nothing is copied back.
  std::vector<OrmoDataInfo> outputs;
  std::string modelPath;   ///< model file of OrmoOfflineRun
  OrmoDataInfo modelData;  ///< model image of OrmoOfflineRun, used when `modelPath` is empty
  uint64_t unused = 0;     ///< keeps the layout of callers built against the full record
  ox::Session* session = nullptr;              ///< online graphs: the session, not owned
  std::map<std::string, std::string> options;  ///< online graphs: compile options
  /// Online graphs: inputs by graph, dependency graphs first. Generated ones are appended by the
  /// first run and used again by the next, whatever its graphs are: see OrmoOnlineRun.
  std::vector<std::vector<ox::Tensor>> graphInputs;
  /// Online graphs: each successful run appends an entry, the outputs of its last execution.
  std::vector<std::vector<ox::Tensor>> graphOutputs;
  std::vector<ox::Graph> dependGraphs;  ///< online graphs: run before the measured one, in order
  RunMode runMode = RunMode::DEFAULT;   ///< how OrmoOfflineRun loads an image in memory
  /// "", "dynamic_batch_size", "dynamic_image_size" or "dynamic_dims"; set before each execution.
  std::string dynamicType;
  /// The setting: a batch size, "height,width", or up to 128 dimensions with commas between.
  std::string dynamicParam;
  std::string buildRunKey;  ///< the caller's name of the build; appears in log lines and the trace
};

/// Identity of one run, from the entry point to the worker's task and back.
struct RunInfo {
  uint32_t modelId = 0;       ///< the loaded model; a one-shot run sets it after its load
  int32_t* profFd = nullptr;  ///< write end of the pipe for profiling records, or null; not owned
  /// Output: average of one execution by wall clock; after a bound stop the last execution's time.
  uint64_t runCostTime = 0;
  uint32_t deviceId = ANY_DEVICE_ID;  ///< where to run; ANY_DEVICE_ID: any worker
  std::vector<std::string> unused;    ///< keeps the layout of callers built against the full record
};

/// Result of a measurement.
struct RunnerResult {
  /// The measured cost: average of one execution, from profiling records when the run was profiled,
  /// else a copy of `runCostTime`. Too low when records were lost: see OrmoOfflineRun.
  uint64_t totalCostTime = 0;
  /// Average of one execution by wall clock; that of the last one, `runTimeBound` or more, when it
  /// ended the loop.
  uint64_t runCostTime = 0;
  /// Operator name to its average duration.
  std::map<std::string, uint64_t> opCostTimes;
  /// Operator name to its average time on the compute cores.
  std::map<std::string, uint64_t> aicoreCostTimes;
};

/// One execution of an operator, read from the profiling stream.
struct RunnerOpInfo {
  std::string opName;
  uint64_t opCostTime = 0;      ///< duration
  uint64_t aicoreCostTime = 0;  ///< time on the compute cores
  std::string modelId;          ///< id of the model or graph that ran it, in decimal
  std::string opType;
  uint64_t startTime = 0;
  uint64_t endTime = 0;
};

/// One execution of a model.
struct RunnerModelInfo {
  uint64_t costTime = 0;  ///< latest end minus earliest start of its operators
};

/// One execution with its operators.
struct RunnerRunResult {
  std::vector<RunnerModelInfo> modelInfos;
  std::vector<RunnerOpInfo> opInfos;
};

/// A task as OrmoOfflineRunProcess runs it: request, run, the caller's error context, and the
/// device whose worker runs it. Returns a status.
using OfflineTask =
    std::function<int(RunnerConfig&, RunInfo&, const error_message::Context&, uint32_t)>;

}  // namespace Ormo

#endif  // ORMO_RUNNER_TYPES_H
