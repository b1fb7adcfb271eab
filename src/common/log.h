/// \file
/// Log lines of the library: ORMO_LOG_INFO("Set device %u", deviceId) and its siblings.
///
/// The macros take a printf format as a literal and its arguments. A level that is off costs one
/// CheckLogLevel call: no argument is evaluated. The ..._AT forms attribute the line to a CallSite
/// that the caller handed on. The first error line of a call is its reason, whatever the level.
#ifndef ORMO_COMMON_LOG_H
#define ORMO_COMMON_LOG_H

#include "common/call_context.h"
#include "common/call_site.h"
#include "dlog/dlog.h"
#include "mm/mm.h"

namespace Ormo {

constexpr int LOG_MODULE_ID = 60;
constexpr char LOG_TAG[] = "ORMO";
/// Lines of the trace recorder.
constexpr char TRACE_LOG_TAG[] = "ACG";

/// Never defined: lets the compiler compare a format with its arguments.
int CheckFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

template <typename... Args>
void WriteLogLine(int level, const char* tag, const CallSite& site, const char* format,
                  Args... args) {
  DlogInner(LOG_MODULE_ID, level, format, site.BaseName(), site.line, tag, mmGetTid(), args...);
}

}  // namespace Ormo

// NOLINTBEGIN(bugprone-sizeof-expression)
#define ORMO_LOG_LINE(level, tag, site, ...)                                            \
  do {                                                                                  \
    if (::CheckLogLevel(::Ormo::LOG_MODULE_ID, (level)) == 1) {                         \
      static_cast<void>(sizeof(::Ormo::CheckFormat(__VA_ARGS__)));                      \
      ::Ormo::WriteLogLine((level), (tag), (site), "[%s:%d][%s][Tid:%d] " __VA_ARGS__); \
    }                                                                                   \
  } while (false)
// NOLINTEND(bugprone-sizeof-expression)

#define ORMO_LOG_DEBUG_AT(site, ...) ORMO_LOG_LINE(DLOG_DEBUG, ::Ormo::LOG_TAG, site, __VA_ARGS__)
#define ORMO_LOG_INFO_AT(site, ...) ORMO_LOG_LINE(DLOG_INFO, ::Ormo::LOG_TAG, site, __VA_ARGS__)
#define ORMO_LOG_WARNING_AT(site, ...) ORMO_LOG_LINE(DLOG_WARN, ::Ormo::LOG_TAG, site, __VA_ARGS__)
#define ORMO_LOG_ERROR_AT(site, ...)                                 \
  do {                                                               \
    if (::Ormo::CallContext::WantsReason()) {                        \
      ::Ormo::CallContext::KeepReason(__VA_ARGS__);                  \
    }                                                                \
    ORMO_LOG_LINE(DLOG_ERROR, ::Ormo::LOG_TAG, (site), __VA_ARGS__); \
  } while (false)

#define ORMO_LOG_DEBUG(...) ORMO_LOG_DEBUG_AT(::Ormo::CallSite::Here(), __VA_ARGS__)
#define ORMO_LOG_INFO(...) ORMO_LOG_INFO_AT(::Ormo::CallSite::Here(), __VA_ARGS__)
#define ORMO_LOG_WARNING(...) ORMO_LOG_WARNING_AT(::Ormo::CallSite::Here(), __VA_ARGS__)
#define ORMO_LOG_ERROR(...) ORMO_LOG_ERROR_AT(::Ormo::CallSite::Here(), __VA_ARGS__)
#define ORMO_LOG_EVENT(...) \
  ORMO_LOG_LINE(DLOG_EVENT, ::Ormo::LOG_TAG, ::Ormo::CallSite::Here(), __VA_ARGS__)

#define ORMO_TRACE_LOG_INFO_AT(site, ...) \
  ORMO_LOG_LINE(DLOG_INFO, ::Ormo::TRACE_LOG_TAG, site, __VA_ARGS__)
#define ORMO_TRACE_LOG_ERROR_AT(site, ...) \
  ORMO_LOG_LINE(DLOG_ERROR, ::Ormo::TRACE_LOG_TAG, site, __VA_ARGS__)

#define ORMO_TRACE_LOG_WARNING(...) \
  ORMO_LOG_LINE(DLOG_WARN, ::Ormo::TRACE_LOG_TAG, ::Ormo::CallSite::Here(), __VA_ARGS__)
#define ORMO_TRACE_LOG_ERROR(...) ORMO_TRACE_LOG_ERROR_AT(::Ormo::CallSite::Here(), __VA_ARGS__)

#endif  // ORMO_COMMON_LOG_H
