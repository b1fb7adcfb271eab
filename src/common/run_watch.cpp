#include "common/run_watch.h"

#include <algorithm>

#include "common/call_context.h"

namespace Ormo {

uint32_t RunWatch::RequestedDevice() noexcept {
  const RunWatch* const watch = CallContext::Watch();
  return watch == nullptr ? ANY_DEVICE_ID : watch->requestedDevice;
}

void RunWatch::NoteDevice(uint32_t deviceId) noexcept {
  RunWatch* const watch = CallContext::Watch();
  if (watch != nullptr) {
    watch->deviceId = deviceId;
  }
}

void RunWatch::ReserveTimes(uint32_t loop) {
  constexpr uint32_t MOST = 65536;  // a loop may be meant to end at its bound
  wallTimes.reserve(wallTimes.size() + std::min(loop, MOST));
}

bool RunWatch::BeginExecution() noexcept {
  if (CallContext::IsCancelled()) {
    return false;
  }
  ++executionsBegun;
  return true;
}

void RunWatch::EndExecution(uint64_t wallTime) {
  wallTimes.push_back(wallTime);
}

}  // namespace Ormo
