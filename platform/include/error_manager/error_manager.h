/// \file
/// The platform's manager of errors that a person must see.
#ifndef ERROR_MANAGER_ERROR_MANAGER_H
#define ERROR_MANAGER_ERROR_MANAGER_H

#include <cstdint>
#include <map>
#include <string>

namespace error_message {

/// What errors that a thread reports are attributed to.
struct Context {
  uint64_t workStreamId = 0;
  std::string firstStage;
  std::string secondStage;
  std::string logHeader;
};

}  // namespace error_message

/// Collects errors by the work stream of the reporting thread's context. Any thread may call any
/// operation. Operations that return `int` return 0 for success.
class ErrorManager {
 public:
  static ErrorManager& GetInstance();

  ErrorManager(const ErrorManager&) = delete;
  ErrorManager& operator=(const ErrorManager&) = delete;

  /// Loads the catalogue of error codes at `path`, or the platform's own.
  int Init(std::string path);
  int Init();

  int ReportErrMessage(std::string errorCode, const std::map<std::string, std::string>& args);
  int ReportInterErrMessage(std::string errorCode, const std::string& message);

  /// Takes what the calling thread's work stream has collected; empty when there is nothing.
  std::string GetErrorMessage();
  std::string GetWarningMessage();

  /// Writes what the calling thread's work stream has collected to a descriptor.
  int OutputErrMessage(int handle);
  int OutputMessage(int handle);

  /// The calling thread's context.
  error_message::Context& GetErrorManagerContext();
  void SetErrorContext(error_message::Context context);

  /// A new work-stream id, which also becomes the calling thread's.
  uint64_t GenWorkStreamIdDefault();

 private:
  ErrorManager() = default;
  ~ErrorManager() = default;
};

#endif  // ERROR_MANAGER_ERROR_MANAGER_H
