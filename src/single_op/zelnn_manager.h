/// \file
/// One execution of a single operator.
#ifndef ORMO_SINGLE_OP_ZELNN_MANAGER_H
#define ORMO_SINGLE_OP_ZELNN_MANAGER_H

#include <cstdint>

#include "ormo/zelnn_run_config.h"

namespace Ormo {

/// Runs on a device's worker, with the device's context current. Has no state.
class ZelnnManager {
 public:
  /// Makes the request's tensors, calls the operator, waits for it and releases the tensors.
  /// `costTime` is the time of all that in ns, whatever the status: 0, or STATUS_FAILED after an
  /// error line.
  int Execute(uint64_t& costTime, const ZelnnRunConfig& config) const;

 private:
  int RunZelnn(const ZelnnRunConfig& config) const;
};

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_ZELNN_MANAGER_H
