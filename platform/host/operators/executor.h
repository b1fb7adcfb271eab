/// \file
/// Calls of single operators between their query and their execution.
#ifndef ORMO_HOST_OPERATORS_EXECUTOR_H
#define ORMO_HOST_OPERATORS_EXECUTOR_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "graph/report.h"
#include "runtime/device_memory.h"
#include "runtime/table.h"
#include "zel/zel.h"
#include "zel/zel_tensor.h"

namespace OrmoHost {

/// Code of the error manager's message.
constexpr char OPERATOR_REFUSED[] = "EH0003";

/// The operators, also the numbers of their records' labels.
enum class OperatorKind : uint32_t { ATTENTION, ATTENTION_GRADIENT, COUNT };

/// By kind: name and type of an operator's records, and what messages call it.
constexpr const char* OPERATOR_NAMES[] = {"FlashAttentionScore", "FlashAttentionScoreGrad"};
static_assert(std::size(OPERATOR_NAMES) == static_cast<size_t>(OperatorKind::COUNT));

/// In place of a position: what comes with the execution.
constexpr size_t NO_POSITION = SIZE_MAX;

/// A parameter of a query, as messages name it.
struct Parameter {
  const char* name = "";
  size_t position = 0;
};

/// Why a call is refused: the parameter at fault, and what was expected of it.
class CallError : public std::runtime_error {
 public:
  CallError(const Parameter& parameter, const std::string& expected);
};

/// Device memory that a call reads or writes.
struct Operand {
  Parameter parameter;
  void* data = nullptr;
  size_t bytes = 0;
  size_t alignment = 1;
  bool isOutput = false;
};

/// The block that holds the operand's memory. Throws a CallError when there is none on the device.
std::shared_ptr<Block> GetOperandBlock(const Operand& operand, uint32_t device);

/// A call whose every check is done, but for what may change until it is executed.
struct Executor {
  OperatorKind kind;
  uint32_t device;
  std::vector<Operand> operands;
  size_t workspaceBytes;
  /// The arithmetic, on operands that are there.
  std::function<void(void* workspace)> kernel;
};

using Executors = HandleTable<zelOpExecutor*, const Executor>;

/// Runs a query: the executor that `prepare` makes is known until it is executed, the thread ends
/// or asks again. A CallError in it is reported and refused.
void QueryOperator(OperatorKind kind, const std::function<Executor()>& prepare,
                   uint64_t* workspaceSize, zelOpExecutor** executor);

/// Ends the executor and runs its kernel on the calling thread.
void ExecuteOperator(OperatorKind kind, void* workspace, uint64_t workspaceSize,
                     zelOpExecutor* executor, zelrtStream stream);

/// Forgets what threads have left over; no later thread's end is looked at.
void CloseExecutors();

}  // namespace OrmoHost

#endif  // ORMO_HOST_OPERATORS_EXECUTOR_H
