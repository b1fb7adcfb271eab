#include "single_op/op_arguments.h"

#include <cstring>

#include "common/log.h"

namespace Ormo {

namespace {

// Null, after an error line, when `index` names no attribute.
void* const* FindAttr(const ZelnnParamterInner& param, size_t index) {
  const size_t inputs = param.inputs.size();
  const size_t attrs = param.attrs.size();
  if (index >= inputs && index - inputs < attrs) {
    return &param.attrs[index - inputs];
  }
  ORMO_LOG_ERROR("SetParamByZelnnRunParam attrs idx[%zu];input size[%zu];attrs size[%zu]!", index,
                 inputs, attrs);
  return nullptr;
}

// The value at the start of the attribute's block.
template <typename Stored, typename Value>
bool SetToValue(const ZelnnParamterInner& param, size_t index, Value* out) {
  void* const* attr = FindAttr(param, index);
  if (attr == nullptr) {
    return false;
  }
  Stored stored{};
  std::memcpy(&stored, *attr, sizeof(stored));
  *out = static_cast<Value>(stored);
  return true;
}

// The attribute itself.
template <typename Pointer>
bool SetToPointer(const ZelnnParamterInner& param, size_t index, Pointer* out) {
  void* const* attr = FindAttr(param, index);
  if (attr == nullptr) {
    return false;
  }
  *out = static_cast<Pointer>(*attr);
  return true;
}

}  // namespace

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, const zelTensor** out) {
  const size_t inputs = param.inputs.size();
  const size_t attrsEnd = inputs + param.attrs.size();
  if (index < inputs) {
    *out = param.inputs[index];
    return true;
  }
  if (index >= attrsEnd && index - attrsEnd < param.outputs.size()) {
    *out = param.outputs[index - attrsEnd];
    return true;
  }
  ORMO_LOG_ERROR("Tensor idx[%zu] out of bounds!", index);
  return false;
}

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, double* out) {
  return SetToValue<float>(param, index, out);
}

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, bool* out) {
  return SetToValue<uint8_t>(param, index, out);
}

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, int64_t* out) {
  return SetToValue<int64_t>(param, index, out);
}

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, char** out) {
  return SetToPointer(param, index, out);
}

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, zelBoolArray** out) {
  return SetToPointer(param, index, out);
}

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, zelFloatArray** out) {
  return SetToPointer(param, index, out);
}

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, const zelIntArray** out) {
  return SetToPointer(param, index, out);
}

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, zelIntArray** out) {
  return SetToPointer(param, index, out);
}

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t /*index*/, uint64_t** out) {
  *out = &param.workspaceSize;
  return true;
}

bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t /*index*/, zelOpExecutor*** out) {
  *out = &param.executor;
  return true;
}

}  // namespace Ormo
