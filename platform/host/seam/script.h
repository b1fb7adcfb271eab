/// \file
/// What the next platform calls meet, and what calls were made.
#ifndef ORMO_HOST_SEAM_SCRIPT_H
#define ORMO_HOST_SEAM_SCRIPT_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <type_traits>

namespace OrmoHost {

/// Whether a function can report that it failed; a sweep of faults passes over those that cannot.
enum class Failing { CAN, CANNOT };

/// What a rule makes of a call.
struct Fault {
  int32_t code = 0;
  std::function<void()> action;
};

/// Number of platform functions that the calling thread is in.
inline thread_local int insideDepth = 0;

/// True while calls are recorded or a rule exists: the one thing that an unscripted call looks at.
inline std::atomic<bool> isScriptActive{false};

/// Takes note of a call and returns what the rules hold for it.
Fault MeetScript(const char* function, Failing failing);

/// Adds to the text of the calling thread's latest recorded call.
void AddToCall(const std::string& text);

/// Shows what a function was given with its recorded call; "#" stands before ids. For functions
/// that do their work: those that a rule makes fail do not come here. A value that takes work to
/// make is given as a function, which is called only where it is shown.
template <typename... Values>
void Note(const Values&... values) {
  if (isScriptActive.load(std::memory_order_relaxed)) {
    std::ostringstream text;
    const auto add = [&text](const auto& value) {
      if constexpr (std::is_invocable_v<decltype(value)>) {
        text << ' ' << value();
      } else {
        text << ' ' << value;
      }
    };
    (add(values), ...);
    AddToCall(text.str());
  }
}

void ClearScript();

}  // namespace OrmoHost

#endif  // ORMO_HOST_SEAM_SCRIPT_H
