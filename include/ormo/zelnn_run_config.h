/// \file
/// The request of a single operator's measurement.
#ifndef ORMO_ZELNN_RUN_CONFIG_H
#define ORMO_ZELNN_RUN_CONFIG_H

#include <cstdint>
#include <string>

#include "oxrt/tiling_context.h"

namespace Ormo {

/// One operator to measure. A plain structure that the caller builds.
struct ZelnnRunConfig {
  uint32_t loop = 1;  ///< executions per measurement; 0 executes nothing
  /// The operator's call as JSON text: "op_type", and "inputs", "attrs" and "outputs" in the order
  /// of the operator's parameters. It is read again, and its tensors are made again, for every
  /// execution; tensors hold zeros.
  std::string opJson;
  std::string tiling;  ///< the caller's tiling; the operators so far only log it
  /// The same as an object, or null; not owned. The operators so far do not look at it.
  oxrt::TilingContext* tilingContext = nullptr;
};

}  // namespace Ormo

#endif  // ORMO_ZELNN_RUN_CONFIG_H
