/// \file
/// What people are told when a model is refused.
#ifndef ORMO_HOST_MODELS_REPORT_H
#define ORMO_HOST_MODELS_REPORT_H

#include <string>

#include "services/error_store.h"

namespace OrmoHost {

/// Codes of the error manager's messages.
constexpr char MODEL_REFUSED[] = "EH0001";
constexpr char EXECUTION_REFUSED[] = "EH0002";

/// Reports to the error manager, for the calling thread's work stream.
inline void Report(const std::string& errorCode, const std::string& origin,
                   const std::string& reason) {
  ErrorStore::Instance().Add(ErrorStore::Kind::ERROR, errorCode + ": " + origin + ": " + reason);
}

}  // namespace OrmoHost

#endif  // ORMO_HOST_MODELS_REPORT_H
