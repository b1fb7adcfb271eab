/// \file
/// Errors for the user of the tuning tool, and the context that they are attributed to.
#ifndef ORMO_ORMO_ERROR_MANAGER_H
#define ORMO_ORMO_ERROR_MANAGER_H

#include <cstdint>
#include <map>
#include <string>

#include "error_manager/error_manager.h"
#include "ormo/export.h"

namespace Ormo {

/// Facade of the platform's error manager; one for the process. The library reports what a person
/// must know (a device that does not exist, an environment that is not deployed) under a code of
/// the platform's catalogue, always with the text under the key "reason".
///
/// What is reported belongs to a work stream, that of the reporting thread's context. Threads start
/// in one and the same: each takes what the others' calls have reported. A thread that wants its
/// own calls OrmoGenWorkStreamIdDefault once, before its first run.
///
/// Operations may be called from any thread and do not block, but for OrmoInitErrorManager. Those
/// that return `int` return 0 for success and -1 when the platform's manager refuses.
class ORMO_EXPORT OrmoErrorManager {
 public:
  OrmoErrorManager(const OrmoErrorManager&) = delete;
  OrmoErrorManager& operator=(const OrmoErrorManager&) = delete;

  static OrmoErrorManager& GetInstance();

  /// Loads the catalogue of error codes at `path` and then the platform's own. Call it once, before
  /// any runner is used and from one thread only; it reads files. After a success further calls
  /// return 0 and do nothing; after a failure the next call tries again. Without it the other
  /// operations work, with codes that the platform may not know.
  int OrmoInitErrorManager(const std::string& path);

  /// Reports an error of the catalogue; `args` fills in its text.
  int OrmoReportErrorMessage(const std::string& errorCode,
                             const std::map<std::string, std::string>& args) const;
  /// Reports an internal error with a text of its own.
  int OrmoReportInterErrorMessage(const std::string& errorCode, const std::string& message) const;

  /// Takes what was collected for the calling thread's work stream; empty when there is nothing.
  std::string OrmoGetErrorMessage() const;
  std::string OrmoGetWarningMessage() const;

  /// Have the platform write what was collected for the calling thread's work stream to `handle`.
  int OrmoOutputErrorMessage(int handle) const;
  int OrmoOutputMessage(int handle) const;

  /// The calling thread's context. A run entry point carries it to the worker that does the work,
  /// so that what is reported there belongs to the caller's work stream.
  error_message::Context& OrmoGetErrorContext() const;
  /// Makes a copy of `context` the calling thread's.
  void OrmoSetErrorContext(const error_message::Context& context) const;

  /// A new work-stream id, which also becomes the calling thread's.
  uint64_t OrmoGenWorkStreamIdDefault() const;

 private:
  OrmoErrorManager() = default;
  ~OrmoErrorManager() = default;

  bool inited = false;
};

}  // namespace Ormo

#endif  // ORMO_ORMO_ERROR_MANAGER_H
