/// \file
/// From the parameters of a request to the arguments of an operator's workspace query.
///
/// Parameters are counted through: inputs, then attributes, then outputs.
#ifndef ORMO_SINGLE_OP_OP_ARGUMENTS_H
#define ORMO_SINGLE_OP_OP_ARGUMENTS_H

#include <cstddef>
#include <cstdint>
#include <tuple>
#include <utility>

#include "single_op/op_request.h"

namespace Ormo {

/// Stores the parameter at `index` into `*out`: true. False after an error line, with `*out` left
/// alone, when `index` names no tensor.
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, const zelTensor** out);

/// The same for the other types, whose `index` must name an attribute. What the attribute is does
/// not count: the order of a request's attributes must be the operator's. A double is the widened
/// 32-bit value of the request; pointers stay the request's.
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, double* out);
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, bool* out);
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, int64_t* out);
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, char** out);
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, zelBoolArray** out);
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, zelFloatArray** out);
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, const zelIntArray** out);
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, zelIntArray** out);

/// Where the query writes, whatever `index` is; always true.
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, uint64_t** out);
bool SetParamByZelnnRunParam(ZelnnParamterInner& param, size_t index, zelOpExecutor*** out);

template <size_t... INDICES>
using IndexSequence = std::index_sequence<INDICES...>;

/// Fills the tuple, each element by its type and position. Goes through all of them, so that each
/// that does not fit has its line; true when all fit.
template <size_t... INDICES, typename Tuple>
bool SetParamHelper(ZelnnParamterInner& param, IndexSequence<INDICES...> /*indices*/,
                    Tuple& arguments) {
  bool isSet = true;
  ((isSet = SetParamByZelnnRunParam(param, INDICES, &std::get<INDICES>(arguments)) && isSet), ...);
  return isSet;
}

/// Calls `function` with the elements of `arguments`, in order.
template <typename Function, typename Tuple>
int FuncExector(const Function& function, Tuple arguments) {
  return std::apply(function, std::move(arguments));
}

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_OP_ARGUMENTS_H
