/// \file
/// Where log lines go: nowhere, a file, or the memory of a test.
#ifndef ORMO_HOST_SERVICES_LOG_SERVICE_H
#define ORMO_HOST_SERVICES_LOG_SERVICE_H

namespace OrmoHost {

/// Opens what ORMO_HOST_LOG names, in place of what was open.
void OpenLogFile();

/// Closes the file and forgets the captured lines.
void CloseLog();

}  // namespace OrmoHost

#endif  // ORMO_HOST_SERVICES_LOG_SERVICE_H
