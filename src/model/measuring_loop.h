/// \file
/// The loop of executions that every measurement is.
#ifndef ORMO_MODEL_MEASURING_LOOP_H
#define ORMO_MODEL_MEASURING_LOOP_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

namespace Ormo {

/// Calls `execute` with 0 to `loop` - 1; it does one execution and writes its time into `costTime`.
/// After all of them `costTime` is their average (0 for none) and the status 0. The first status
/// other than 0 ends the loop and is returned; so does a time that reaches `timeBound`, with
/// STATUS_OUT_OF_BOUND. `costTime` then stays that of the last execution. The calling thread's
/// RunWatch, if any, gets all of it, and ends the loop with STATUS_FAILED once it is cancelled.
int MeasureLoop(uint32_t loop, std::optional<uint64_t> timeBound, uint64_t& costTime,
                const std::function<int(size_t index)>& execute);

}  // namespace Ormo

#endif  // ORMO_MODEL_MEASURING_LOOP_H
