/// \file
/// Steers the host platform: for tests, and for tuner authors who want to see what their tuner does
/// when a device misbehaves.
///
/// Everything here may be called from any thread at any time. What is set holds for the process
/// until it is set again or `Reset` is called. Calls are counted from 1: `nth` 1 is the next one.
#ifndef ORMO_HOST_CONTROL_H
#define ORMO_HOST_CONTROL_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace OrmoHost {

// ---- Faults ----
//
// A function that acquires or works and is made to fail does nothing else. One that releases (free,
// destroy, unload, unsubscribe, reset, close, finalise) releases first and fails then. A function
// that returns a pointer fails with null, one that returns a size or a time with 0, and a function
// of the mm layer with a negative code (a positive one becomes -1) and the error number EIO.

/// In place of a call's number.
constexpr uint64_t EVERY_CALL = 0;

/// Makes the `nth` call of the platform function of that name, for instance "zelrtMalloc" or
/// "Session::AddGraph", fail with `code`. Several rules may wait for one function.
void Fail(const std::string& function, uint64_t nth, int32_t code);

/// Runs `action` in the `nth` call, on the calling thread, where the function would fail. What the
/// action throws comes out of the function.
void OnCall(const std::string& function, uint64_t nth, std::function<void()> action);

/// Makes the `nth` call take that much longer.
void Delay(const std::string& function, uint64_t nth, std::chrono::nanoseconds time);

/// Throws a std::runtime_error out of the `nth` call.
void Throw(const std::string& function, uint64_t nth);

/// Makes the `nth` call of whatever function fail with `code`. Functions that have no way to fail
/// do not count: those of the log, thread and process ids, clocks, and functions without a result.
void FailCall(uint64_t nth, int32_t code);

/// The function that a rule acted on last; empty when none has yet.
std::string FailedCall();

/// How many of the rules for an `nth` call still wait for it.
size_t PendingFaults();

// ---- Profiling records ----

enum class RecordFault {
  NONE,
  LOST,           ///< the record is not written; nobody is told
  TRUNCATED,      ///< only half of its bytes are written
  WITHOUT_START,  ///< its start time is 0
};

/// What happens to the `nth` record that is written from now on.
void FaultRecord(uint64_t nth, RecordFault fault);

/// How long a record waits for room in a full pipe before it and all that follow are dropped and
/// the unsubscription fails; 5 seconds at first.
void SetRecordWait(std::chrono::milliseconds wait);

// ---- Executions of graphs in sessions ----

enum class CompletionFault {
  NONE,
  DESTROYED,      ///< the graph runs, the callback is destroyed without a call
  AFTER_FAILURE,  ///< RunGraphAsync fails, and the callback is called when the session ends
  TWICE,          ///< the callback is called as it should be, and again when the session ends
  FAILED_STATUS,  ///< the callback is told that the execution failed
};

/// What becomes of the callback of the `nth` execution that is started from now on.
void FaultCompletion(uint64_t nth, CompletionFault fault);

// ---- Executions of single operators ----
//
// A tensor is named by its position in the operator's workspace query.

/// Every execution from now on that has a tensor at `position` finds these bytes in it; one whose
/// tensor has another size is refused. No bytes: tensors there are left as they are.
void SetOperatorTensor(size_t position, std::vector<uint8_t> bytes);

/// Starts to keep what executions write, the latest in place of the one before.
void KeepOperatorOutputs();

/// What the latest execution wrote there; empty when nothing was kept.
std::vector<uint8_t> OperatorOutput(size_t position);

// ---- The platform's own account ----

/// Sums over the executions of an operator.
struct OperatorTimes {
  uint64_t executions = 0;
  uint64_t duration = 0;
  uint64_t core = 0;
};

/// Starts to add up the times of operators in profiled executions, from nothing. They are taken
/// where they are measured: whatever becomes of the records, they count.
void KeepAccount();

/// By operator name.
std::map<std::string, OperatorTimes> Account();

// ---- Calls ----

struct Call {
  std::string function;
  /// Ids, sizes, shapes and the like that it was given or gave, each behind a space: " # 7 64".
  std::string arguments;
  int thread;  ///< id of the calling thread
};

/// Starts to count and list calls, from nothing.
void RecordCalls();

/// Calls of a function since RecordCalls.
uint64_t CallCount(const std::string& function);

/// The calls that FailCall counts, in order, since RecordCalls.
std::vector<Call> Calls();

/// Whether the calling thread is in a platform function just now.
bool IsInsideHost();

// ---- Log lines ----

/// A line as it was given to the log service.
struct LogLine {
  int module;
  int level;
  std::string file;  ///< base name of the source; empty when the line has no such prefix
  int line;          ///< line number in it
  std::string tag;
  int thread;           ///< the thread id in the line
  std::string message;  ///< the text after the prefix
  std::string text;     ///< the whole text
};

/// Keeps the lines of `level` and above in memory from now on. Enables these levels; those of the
/// log file are not affected. Called again, it changes the level and keeps the lines.
void CaptureLog(int level);

/// Stops keeping lines and forgets those that were kept.
void StopCapturingLog();

std::vector<LogLine> CapturedLog();
void ClearCapturedLog();

// ---- What is alive ----

/// Objects that the platform's users hold.
struct AliveObjects {
  size_t deviceSets = 0;  ///< calls of zelrtSetDevice that were not reset
  size_t contexts = 0;
  size_t deviceBlocks = 0;   ///< allocations of zelrtMalloc
  uint64_t deviceBytes = 0;  ///< accounted on all devices, memory of loaded models included
  size_t models = 0;
  size_t descs = 0;
  size_t datasets = 0;
  size_t dataBuffers = 0;
  size_t tensorDescs = 0;
  size_t tensors = 0;
  size_t arrays = 0;
  size_t executors = 0;  ///< of single operators, neither executed nor ended by their thread
  size_t subscribeConfigs = 0;
  size_t subscriptions = 0;
  size_t sessions = 0;
  size_t graphs = 0;  ///< in sessions
  /// Objects that went with the last reset of their device or with zelFinalize because nobody had
  /// released them, since the last Reset.
  size_t abandoned = 0;

  /// Nothing is alive and nothing was abandoned.
  bool Empty() const;
  /// The members that are not 0, for people: "contexts 1, deviceBytes 512".
  std::string ToString() const;
};

AliveObjects Alive();

// ---- The machine ----

void SetDeviceCount(uint32_t count);
/// Bytes of each device. What is allocated stays.
void SetMemorySize(size_t bytes);
/// How many bytes of each device may be huge pages; without limit at first.
void SetHugePageSize(size_t bytes);
/// The chip; an empty name makes it unknown.
void SetSocName(const std::string& name);

/// Back to the state of a fresh process: rules, calls and captured lines are forgotten, everything
/// alive is released, the machine is as the environment says. The environment is read again.
/// Sessions stay, without their graphs.
void Reset();

}  // namespace OrmoHost

#endif  // ORMO_HOST_CONTROL_H
