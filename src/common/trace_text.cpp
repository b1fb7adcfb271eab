#include "common/trace_text.h"

#include <nlohmann/json.hpp>

namespace Ormo {

std::string TraceText(const TraceEvents& events, const std::string& processId) {
  constexpr int compact = -1;
  std::string text;
  events.ForEach([&text, &processId](const TraceEvent& event) {
    const nlohmann::json item = {{"name", event.name},
                                 {"ph", std::string(1, event.ph)},
                                 {"pid", event.pid.empty() ? processId : event.pid},
                                 {"tid", event.tid},
                                 {"ts", event.ts}};
    if (!text.empty()) {
      text += ',';
    }
    text += item.dump(compact, ' ', false, nlohmann::json::error_handler_t::replace);
  });
  return text;
}

}  // namespace Ormo
