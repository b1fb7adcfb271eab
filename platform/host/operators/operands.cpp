#include "operators/operands.h"

#include <utility>

#include "runtime/runtime.h"
#include "seam/single.h"

namespace OrmoHost {
namespace {

size_t CountTensorBytes(const TensorArgument& argument, const Tensor& tensor) {
  try {
    return CountBytes({*tensor.view, tensor.dataType}, "");
  } catch (const GraphError&) {
    throw CallError(argument.parameter, "fewer elements than " + ToText(*tensor.view));
  }
}

}  // namespace

std::shared_ptr<const Tensor> FindTensor(const TensorArgument& argument) {
  std::shared_ptr<const Tensor> tensor = Single<Tensors>().Find(argument.tensor);
  Expect(tensor != nullptr, argument.parameter, "a tensor");
  Expect(tensor->view.has_value(), argument.parameter, "a shape");
  Expect(tensor->storage.value_or(*tensor->view) == *tensor->view, argument.parameter,
         "a storage shape that is the shape");
  return tensor;
}

OperandBinder::OperandBinder() : device_(GetCurrentContext()->device) {}

void* OperandBinder::Bind(const TensorArgument& argument, const Shape& shape, const Types& types,
                          bool isOutput) {
  std::shared_ptr<const Tensor> tensor = FindTensor(argument);
  Expect(*tensor->view == shape, argument.parameter, "the shape ", shape, ", not ", *tensor->view);
  Expect(tensor->dataType == types.one || tensor->dataType == types.other, argument.parameter,
         types.name);
  operands_.push_back({argument.parameter, tensor->data, CountTensorBytes(argument, *tensor),
                       ElementSize(tensor->dataType), isOutput});
  GetOperandBlock(operands_.back(), device_);
  return tensor->data;
}

Executor OperandBinder::MakeExecutor(OperatorKind kind, size_t workspaceBytes,
                                     std::function<void(void* workspace)> kernel) {
  return {kind, device_, std::move(operands_), workspaceBytes, std::move(kernel)};
}

}  // namespace OrmoHost
