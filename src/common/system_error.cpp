#include "common/system_error.h"

#include "common/utils.h"

namespace Ormo {

void LogSystemError(const char* operation, const char* message, int level, const CallSite& site) {
  const int error = mmGetErrorCode();
  ORMO_LOG_LINE(level, LOG_TAG, site, "[%s]%s:(%d)%s", operation, message, error,
                Utils::GetErrorText(error).c_str());
}

}  // namespace Ormo
