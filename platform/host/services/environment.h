/// \file
/// Environment variables of the host.
#ifndef ORMO_HOST_SERVICES_ENVIRONMENT_H
#define ORMO_HOST_SERVICES_ENVIRONMENT_H

#include <cstdint>
#include <optional>
#include <string>

namespace OrmoHost {

/// Value of a variable; empty when it is not set.
std::string ReadVariable(const char* name);

/// Value of a variable as a decimal number; nothing when it is not one.
std::optional<uint64_t> ReadNumber(const char* name);

}  // namespace OrmoHost

#endif  // ORMO_HOST_SERVICES_ENVIRONMENT_H
