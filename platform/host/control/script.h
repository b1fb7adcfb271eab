/// \file
/// What the next platform calls meet, and what calls were made.
#ifndef ORMO_HOST_CONTROL_SCRIPT_H
#define ORMO_HOST_CONTROL_SCRIPT_H

#include <atomic>
#include <cstdint>
#include <functional>

namespace OrmoHost {

/// Whether a function can report that it failed; a sweep of faults passes over those that cannot.
enum class Failing { CAN, CANNOT };

/// What a rule makes of a call.
struct Fault {
  int32_t code = 0;
  std::function<void()> action;
};

/// True while calls are recorded or a rule exists: the one thing that an unscripted call looks at.
inline std::atomic<bool> isScriptActive{false};

/// Takes note of a call and returns what the rules hold for it.
Fault MeetScript(const char* function, Failing failing);

void ClearScript();

}  // namespace OrmoHost

#endif  // ORMO_HOST_CONTROL_SCRIPT_H
