/// \file
/// Statuses in words.
#ifndef ORMO_COMMON_STATUS_TEXT_H
#define ORMO_COMMON_STATUS_TEXT_H

namespace Ormo {

/// A text without an end mark; one for statuses that status.h does not name, too. Static.
const char* StatusText(int status) noexcept;

}  // namespace Ormo

#endif  // ORMO_COMMON_STATUS_TEXT_H
