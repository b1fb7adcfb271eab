/// \file
/// Subscription of one graph.
#ifndef ORMO_ONLINE_ONLINE_MANAGER_H
#define ORMO_ONLINE_ONLINE_MANAGER_H

#include <cstdint>

#include "profiling/profiling_manager.h"

namespace Ormo {

class OnlineManager : public ProfilingManager {
 public:
  OnlineManager(int32_t* fd, uint32_t graphId) : ProfilingManager(fd, graphId) {}

 protected:
  int ProfStart() override;
  int ProfStop() const override;
};

}  // namespace Ormo

#endif  // ORMO_ONLINE_ONLINE_MANAGER_H
