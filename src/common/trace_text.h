/// \file
/// Trace events as JSON.
#ifndef ORMO_COMMON_TRACE_TEXT_H
#define ORMO_COMMON_TRACE_TEXT_H

#include <string>

#include "common/trace_events.h"

namespace Ormo {

/// The events as JSON objects with commas between them. Bytes that are no UTF-8 become U+FFFD.
/// Throws what the JSON library throws.
std::string TraceText(const TraceEvents& events, const std::string& processId);

}  // namespace Ormo

#endif  // ORMO_COMMON_TRACE_TEXT_H
