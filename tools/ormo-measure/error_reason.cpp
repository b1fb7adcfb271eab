#include "error_reason.h"

#include "ormo/ormo_error_manager.h"

namespace OrmoMeasure {

std::string JoinLines(const std::string& text) {
  std::string joined;
  size_t begin = text.find_first_not_of("\r\n");
  while (begin != std::string::npos) {
    const size_t end = text.find_first_of("\r\n", begin);
    joined += (joined.empty() ? "" : "; ") + text.substr(begin, end - begin);
    begin = text.find_first_not_of("\r\n", end);
  }
  return joined;
}

ErrorContext::ErrorContext() {
  const Ormo::OrmoErrorManager& manager = Ormo::OrmoErrorManager::GetInstance();
  error_message::Context context;
  context.workStreamId = manager.OrmoGenWorkStreamIdDefault();
  manager.OrmoSetErrorContext(context);
}

ErrorContext::~ErrorContext() {
  Ormo::OrmoErrorManager::GetInstance().OrmoGetErrorMessage();
}

std::string ErrorContext::TakeReason(const std::string& unreported) {
  const std::string reported =
      JoinLines(Ormo::OrmoErrorManager::GetInstance().OrmoGetErrorMessage());
  return reported.empty() ? unreported : reported;
}

}  // namespace OrmoMeasure
