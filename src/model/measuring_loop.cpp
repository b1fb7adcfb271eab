#include "model/measuring_loop.h"

#include <set>

#include "common/call_context.h"
#include "common/run_watch.h"
#include "common/utils.h"
#include "ormo/status.h"

namespace Ormo {

int MeasureLoop(uint32_t loop, std::optional<uint64_t> timeBound, uint64_t& costTime,
                const std::function<int(size_t index)>& execute) {
  RunWatch* const watch = CallContext::Watch();
  if (watch != nullptr) {
    watch->ReserveTimes(loop);
  }
  std::multiset<uint64_t> times;
  for (size_t index = 0; index < loop; ++index) {
    if (watch != nullptr && !watch->BeginExecution()) {
      return STATUS_FAILED;
    }
    const int status = execute(index);
    if (status != STATUS_SUCCESS) {
      return status;
    }
    times.insert(costTime);
    if (watch != nullptr) {
      watch->EndExecution(costTime);
    }
    if (timeBound.has_value() && *timeBound <= costTime) {
      if (watch != nullptr) {
        watch->boundExecution = index;
      }
      CallContext::KeepReason("Execution %zu took %llu ns, and the time bound is %llu ns", index,
                              static_cast<unsigned long long>(costTime),
                              static_cast<unsigned long long>(*timeBound));
      return STATUS_OUT_OF_BOUND;
    }
  }
  costTime = Utils::CalcAvgExecuteTime(times);
  return STATUS_SUCCESS;
}

}  // namespace Ormo
