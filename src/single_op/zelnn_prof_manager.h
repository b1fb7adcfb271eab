/// \file
/// Subscription of the operators that a device's worker calls.
#ifndef ORMO_SINGLE_OP_ZELNN_PROF_MANAGER_H
#define ORMO_SINGLE_OP_ZELNN_PROF_MANAGER_H

#include <cstdint>

#include "profiling/profiling_manager.h"

namespace Ormo {

/// Subscribes by the second id. The platform ties the subscription to the worker's current device,
/// whatever that id.
class ZelnnProfManager : public ProfilingManager {
 public:
  ZelnnProfManager(int32_t* fd, uint32_t deviceId, uint32_t secondId)
      : ProfilingManager(fd, deviceId, secondId) {}

 protected:
  int ProfStart() override;
  int ProfStop() const override;
};

}  // namespace Ormo

#endif  // ORMO_SINGLE_OP_ZELNN_PROF_MANAGER_H
