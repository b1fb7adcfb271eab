/// \file
/// Why something failed, in words, where no detailed call tells.
#ifndef ORMO_MEASURE_ERROR_REASON_H
#define ORMO_MEASURE_ERROR_REASON_H

#include <string>

namespace OrmoMeasure {

/// A reason may have several lines, and stands in one cell.
std::string JoinLines(const std::string& text);

/// An error context for the calling thread, so that what is reported during its life can be told
/// from what other threads and earlier runs report. Use it on the thread that made it.
class ErrorContext {
 public:
  ErrorContext();
  /// Takes what nobody asked for: reports would pile up otherwise.
  ~ErrorContext();
  ErrorContext(const ErrorContext&) = delete;
  ErrorContext& operator=(const ErrorContext&) = delete;

  /// Takes what the platform and the library have reported; `unreported` when that is nothing.
  std::string TakeReason(const std::string& unreported);
};

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_ERROR_REASON_H
