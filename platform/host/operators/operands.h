/// \file
/// From the arguments of a query to the operands of its call: what every operator checks.
#ifndef ORMO_HOST_OPERATORS_OPERANDS_H
#define ORMO_HOST_OPERATORS_OPERANDS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "operators/executor.h"
#include "operators/tensors.h"

namespace OrmoHost {

struct TensorArgument {
  Parameter parameter;
  const zelTensor* tensor = nullptr;
};

/// Types that a tensor may have, and what messages call them.
struct Types {
  const char* name;
  ox::DataType one;
  ox::DataType other;
};

constexpr Types FLOAT32{"float32", ox::DT_FLOAT, ox::DT_FLOAT};
constexpr Types FLOAT16{"float16", ox::DT_FLOAT16, ox::DT_FLOAT16};
constexpr Types BYTES{"bool or uint8", ox::DT_BOOL, ox::DT_UINT8};

inline std::string AsText(const char* text) {
  return text;
}

inline std::string AsText(int64_t number) {
  return std::to_string(number);
}

inline std::string AsText(const Shape& shape) {
  return ToText(shape);
}

/// Throws a CallError unless the condition holds. The parts of what is expected become a text only
/// when it is needed.
template <typename... Parts>
void Expect(bool condition, const Parameter& parameter, const Parts&... parts) {
  if (!condition) {
    throw CallError(parameter, (AsText(parts) + ...));
  }
}

/// Refuses a tensor that is not alive, has no shape, or another one than its memory.
std::shared_ptr<const Tensor> FindTensor(const TensorArgument& argument);

/// Collects the operands of a call on the current device.
class OperandBinder {
 public:
  OperandBinder();

  /// Checks a tensor and its memory, which becomes an operand.
  void* Bind(const TensorArgument& argument, const Shape& shape, const Types& types, bool isOutput);

  /// Gives the operands up to an executor.
  Executor MakeExecutor(OperatorKind kind, size_t workspaceBytes,
                        std::function<void(void* workspace)> kernel);

 private:
  const uint32_t device_;
  std::vector<Operand> operands_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_OPERATORS_OPERANDS_H
