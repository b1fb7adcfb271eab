/// \file
/// The machine that the host pretends to be.
#ifndef ORMO_HOST_RUNTIME_MACHINE_H
#define ORMO_HOST_RUNTIME_MACHINE_H

#include <cstddef>
#include <cstdint>

#include "zel/zel.h"

namespace OrmoHost {

struct Machine {
  uint32_t deviceCount = 0;
  size_t memorySize = 0;    ///< bytes of each device
  size_t hugePageSize = 0;  ///< how many of them may be huge pages
  zelrtMemAttr memoryKind = ZEL_HBM_MEM;
  const char* socName = nullptr;  ///< valid until the host closes; null when the chip is not known
};

/// The machine as the environment, or a test, describes it.
Machine CurrentMachine();

void ReadMachineFromEnvironment();
void CloseMachine();

}  // namespace OrmoHost

#endif  // ORMO_HOST_RUNTIME_MACHINE_H
