#include "ormo/ormo_error_manager.h"

#include "common/log.h"
#include "ormo/status.h"

namespace Ormo {

namespace {

int StatusOf(int platformResult) {
  return platformResult == 0 ? STATUS_SUCCESS : STATUS_FAILED;
}

}  // namespace

OrmoErrorManager& OrmoErrorManager::GetInstance() {
  static OrmoErrorManager instance;
  return instance;
}

int OrmoErrorManager::OrmoInitErrorManager(const std::string& path) {
  if (inited) {
    ORMO_LOG_INFO("Ormo error_manager has been inited.");
    return STATUS_SUCCESS;
  }
  if (ErrorManager::GetInstance().Init(path) != 0) {
    ORMO_LOG_ERROR("Load ormo error_code failed.");
    return STATUS_FAILED;
  }
  if (ErrorManager::GetInstance().Init() != 0) {
    ORMO_LOG_ERROR("Load error_code failed.");
    return STATUS_FAILED;
  }
  inited = true;
  return STATUS_SUCCESS;
}

int OrmoErrorManager::OrmoReportErrorMessage(const std::string& errorCode,
                                             const std::map<std::string, std::string>& args) const {
  return StatusOf(ErrorManager::GetInstance().ReportErrMessage(errorCode, args));
}

int OrmoErrorManager::OrmoReportInterErrorMessage(const std::string& errorCode,
                                                  const std::string& message) const {
  return StatusOf(ErrorManager::GetInstance().ReportInterErrMessage(errorCode, message));
}

std::string OrmoErrorManager::OrmoGetErrorMessage() const {
  return ErrorManager::GetInstance().GetErrorMessage();
}

std::string OrmoErrorManager::OrmoGetWarningMessage() const {
  return ErrorManager::GetInstance().GetWarningMessage();
}

int OrmoErrorManager::OrmoOutputErrorMessage(int handle) const {
  return StatusOf(ErrorManager::GetInstance().OutputErrMessage(handle));
}

int OrmoErrorManager::OrmoOutputMessage(int handle) const {
  return StatusOf(ErrorManager::GetInstance().OutputMessage(handle));
}

error_message::Context& OrmoErrorManager::OrmoGetErrorContext() const {
  return ErrorManager::GetInstance().GetErrorManagerContext();
}

void OrmoErrorManager::OrmoSetErrorContext(const error_message::Context& context) const {
  ErrorManager::GetInstance().SetErrorContext(context);
}

uint64_t OrmoErrorManager::OrmoGenWorkStreamIdDefault() const {
  return ErrorManager::GetInstance().GenWorkStreamIdDefault();
}

}  // namespace Ormo
