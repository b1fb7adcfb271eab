/// \file
/// Subscription of one loaded offline model.
#ifndef ORMO_PROFILING_OFFLINE_MANAGER_H
#define ORMO_PROFILING_OFFLINE_MANAGER_H

#include <cstdint>

#include "profiling/profiling_manager.h"

namespace Ormo {

class OfflineManager : public ProfilingManager {
 public:
  OfflineManager(int32_t* fd, uint32_t id) : ProfilingManager(fd), modelId(id) {}

 protected:
  int ProfStart() override;
  int ProfStop() const override;

 private:
  uint32_t modelId;
};

}  // namespace Ormo

#endif  // ORMO_PROFILING_OFFLINE_MANAGER_H
