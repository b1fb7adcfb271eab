#include "model/measuring_loop.h"

#include <set>

#include "common/utils.h"
#include "ormo/status.h"

namespace Ormo {

int MeasureLoop(uint32_t loop, std::optional<uint64_t> timeBound, uint64_t& costTime,
                const std::function<int(size_t index)>& execute) {
  std::multiset<uint64_t> times;
  for (size_t index = 0; index < loop; ++index) {
    const int status = execute(index);
    if (status != STATUS_SUCCESS) {
      return status;
    }
    times.insert(costTime);
    if (timeBound.has_value() && *timeBound <= costTime) {
      return STATUS_OUT_OF_BOUND;
    }
  }
  costTime = Utils::CalcAvgExecuteTime(times);
  return STATUS_SUCCESS;
}

}  // namespace Ormo
