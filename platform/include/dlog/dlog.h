/// \file
/// The platform's log service.
#ifndef DLOG_DLOG_H
#define DLOG_DLOG_H

constexpr int DLOG_DEBUG = 0;
constexpr int DLOG_INFO = 1;
constexpr int DLOG_WARN = 2;
constexpr int DLOG_ERROR = 3;
constexpr int DLOG_EVENT = 16;

extern "C" {

/// 1 exactly when lines of `level` of `moduleId` are wanted. Any thread.
int CheckLogLevel(int moduleId, int level);

/// Writes one line, formatted like printf. Any thread.
void DlogInner(int moduleId, int level, const char* format, ...);

}  // extern "C"

#endif  // DLOG_DLOG_H
