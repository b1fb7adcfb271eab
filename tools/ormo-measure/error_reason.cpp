#include "error_reason.h"

#include "ormo/ormo_error_manager.h"
#include "ormo/status.h"

namespace OrmoMeasure {
namespace {

const char* DescribeStatus(int status) {
  switch (status) {
    case Ormo::STATUS_INVALID_PARAM:
      return "a parameter cannot be used";
    case Ormo::STATUS_LIBRARY_NOT_LOADED:
      return "its library cannot be loaded";
    case Ormo::STATUS_FUNCTION_MISSING:
      return "its library lacks a function";
    case Ormo::STATUS_DEVICE_MEMORY_FAILED:
      return "a device allocation or a copy to or from the device failed";
    case Ormo::STATUS_NOT_ENOUGH_MEMORY:
      return "does not fit into the free device memory";
    case Ormo::STATUS_PLATFORM_FAILED:
      return "the platform refused to load the model or to create a resource";
    case Ormo::STATUS_MEMORY_ALLOCATION_FAILED:
      return "the platform could not allocate memory";
    case Ormo::STATUS_EXECUTE_FAILED:
      return "an execution failed";
    case Ormo::STATUS_OUT_OF_BOUND:
      return "an execution reached the time bound";
    case Ormo::STATUS_DYNAMIC_PARAM_FAILED:
      return "the dynamic setting was refused";
    case Ormo::STATUS_PROFILING_FAILED:
      return "the profiling records could not be read";
    default:
      return "the platform's log has the reason";
  }
}

// Reports may have several lines, and a reason stands in one cell.
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

}  // namespace

ErrorContext::ErrorContext() {
  const Ormo::OrmoErrorManager& manager = Ormo::OrmoErrorManager::GetInstance();
  error_message::Context context;
  context.workStreamId = manager.OrmoGenWorkStreamIdDefault();
  manager.OrmoSetErrorContext(context);
}

ErrorContext::~ErrorContext() {
  Ormo::OrmoErrorManager::GetInstance().OrmoGetErrorMessage();
}

std::string ErrorContext::TakeReason(int status) {
  return TakeReason(status, DescribeStatus(status));
}

std::string ErrorContext::TakeReason(int status, const std::string& unreported) {
  if (status == Ormo::STATUS_SUCCESS) {
    return "";
  }
  const std::string reported =
      JoinLines(Ormo::OrmoErrorManager::GetInstance().OrmoGetErrorMessage());
  return reported.empty() ? unreported : reported;
}

}  // namespace OrmoMeasure
