#include "common/trace_text.h"

#include <nlohmann/json.hpp>
#include <string_view>

namespace Ormo {

namespace {

std::string Quoted(std::string_view text) {
  constexpr int compact = -1;
  return nlohmann::json(text).dump(compact, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

std::string TraceText(const TraceEvents& events, const std::string& processId) {
  // Only texts go through the JSON library: an object of it for each event would take several times
  // as long, on a processor that the measured work may want.
  const std::string quotedProcessId = Quoted(processId);
  std::string text;
  events.ForEach([&text, &quotedProcessId](const TraceEvent& event) {
    text += text.empty() ? R"({"name":)" : R"(,{"name":)";
    text += Quoted(event.name);
    text += R"(,"ph":")";
    text += event.ph;
    text += R"(","pid":)";
    text += event.pid.empty() ? quotedProcessId : Quoted(event.pid);
    text += R"(,"tid":)";
    text += Quoted(event.tid);
    text += R"(,"ts":)";
    text += std::to_string(event.ts);
    text += '}';
  });
  return text;
}

}  // namespace Ormo
