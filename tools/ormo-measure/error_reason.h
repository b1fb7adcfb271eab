/// \file
/// Why something failed, in words.
#ifndef ORMO_MEASURE_ERROR_REASON_H
#define ORMO_MEASURE_ERROR_REASON_H

#include <string>

namespace OrmoMeasure {

/// An error context for the calling thread, so that what is reported during its life can be told
/// from what other threads and earlier runs report. Use it on the thread that made it.
class ErrorContext {
 public:
  ErrorContext();
  /// Takes what nobody asked for: reports would pile up otherwise.
  ~ErrorContext();
  ErrorContext(const ErrorContext&) = delete;
  ErrorContext& operator=(const ErrorContext&) = delete;

  /// Takes what was reported; without reports, what the status means. Empty for success.
  std::string TakeReason(int status);
  /// The same with `unreported` in place of the meaning.
  std::string TakeReason(int status, const std::string& unreported);
};

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_ERROR_REASON_H
