#include "operators/executor.h"

#include <pthread.h>

#include <utility>

#include "operators/profiling.h"
#include "operators/script.h"
#include "runtime/runtime.h"
#include "seam/single.h"

namespace OrmoHost {
namespace {

// Nothing for one that was executed: its handle is never given out again.
void EndExecutor(void* handle) {
  Single<Executors>().End(handle);
}

// The executor that each thread's latest query has made. A thread_local with a destructor would
// keep this library loaded.
class LeftOver {
 public:
  LeftOver() { Require(pthread_key_create(&key_, EndExecutor) == 0, NO_THREAD); }

  void Set(zelOpExecutor* executor) const { pthread_setspecific(key_, executor); }

  void End() const { EndExecutor(pthread_getspecific(key_)); }

  void Close() const { pthread_key_delete(key_); }

 private:
  pthread_key_t key_ = 0;
};

// Runs `work`. A CallError in it is reported and becomes a refusal.
template <typename Work>
auto ReportingCall(OperatorKind kind, Work&& work) {
  try {
    return work();
  } catch (const CallError& error) {
    Report(OPERATOR_REFUSED, OPERATOR_NAMES[static_cast<size_t>(kind)], error.what());
    throw Refusal(OPERATOR_CALL_REFUSED);
  }
}

void Run(const Executor& executor, void* workspace, size_t workspaceSize) {
  Operand work{
      {"workspace", NO_POSITION}, workspace, executor.workspaceBytes, alignof(float), true};
  if (workspaceSize < work.bytes) {
    throw CallError(work.parameter, std::to_string(work.bytes) + " bytes");
  }
  // Kept until the kernel has ended.
  std::vector<std::shared_ptr<Block>> blocks{GetOperandBlock(work, executor.device)};
  for (const Operand& operand : executor.operands) {
    blocks.push_back(GetOperandBlock(operand, executor.device));
  }
  FillScriptedOperands(executor);
  RunProfiled(executor, workspace);
  KeepScriptedOutputs(executor);
}

}  // namespace

CallError::CallError(const Parameter& parameter, const std::string& expected)
    : std::runtime_error(parameter.name +
                         (parameter.position == NO_POSITION
                              ? std::string()
                              : " (position " + std::to_string(parameter.position) + ")") +
                         ": expected " + expected) {}

std::shared_ptr<Block> GetOperandBlock(const Operand& operand, uint32_t device) {
  std::shared_ptr<Block> block = FindUserBlock(operand.data, operand.bytes);
  bool isThere = block != nullptr && block->Device() == device;
  if (!isThere || reinterpret_cast<uintptr_t>(operand.data) % operand.alignment != 0) {
    throw CallError(operand.parameter, std::to_string(operand.bytes) +
                                           " bytes of memory of device " + std::to_string(device) +
                                           " at a multiple of " +
                                           std::to_string(operand.alignment));
  }
  return block;
}

void QueryOperator(OperatorKind kind, const std::function<Executor()>& prepare,
                   uint64_t* workspaceSize, zelOpExecutor** executor) {
  RequireOpen();
  Single<LeftOver>().End();
  Require(workspaceSize != nullptr && executor != nullptr, INVALID_ARGUMENT);
  Executor prepared = ReportingCall(kind, prepare);
  uint64_t size = prepared.workspaceBytes;
  *executor = Single<Executors>().Make(std::move(prepared));
  *workspaceSize = size;
  Single<LeftOver>().Set(*executor);
}

void ExecuteOperator(OperatorKind kind, void* workspace, uint64_t workspaceSize,
                     zelOpExecutor* executor, zelrtStream stream) {
  std::shared_ptr<const Executor> call = Single<Executors>().Get(executor);
  Single<Executors>().Remove(executor);
  Require(call->kind == kind && stream == nullptr, UNKNOWN_HANDLE);
  Require(call->device == GetCurrentContext()->device, WRONG_DEVICE);
  ReportingCall(kind, [&] { Run(*call, workspace, workspaceSize); });
}

void CloseExecutors() {
  Guarded([] { Single<LeftOver>().Close(); });
}

}  // namespace OrmoHost
