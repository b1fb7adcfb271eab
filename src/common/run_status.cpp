#include "common/run_status.h"

#include "ormo/status.h"

namespace Ormo {
namespace {

constexpr RunEnding ENDINGS[] = {
    // status, hasResult, isFailure, readStatus
    {STATUS_SUCCESS, true, false, STATUS_SUCCESS},
    // Nothing was executed: there is nothing to wait for or to keep. Callers skip such a model.
    {STATUS_NOT_ENOUGH_MEMORY, false, false, STATUS_NOT_ENOUGH_MEMORY},
    // The executions up to the bound count. Whoever reads until the pipe is idle has always had
    // them with 0; only a run whose pipe is closed keeps the status, which nobody took from it.
    {STATUS_OUT_OF_BOUND, true, false, STATUS_SUCCESS},
};

}  // namespace

RunEnding EndingOf(int status) {
  for (const RunEnding& ending : ENDINGS) {
    if (ending.status == status) {
      return ending;
    }
  }
  return {status, false, true, status};
}

}  // namespace Ormo
