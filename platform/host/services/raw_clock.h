/// \file
/// The clock of all figures.
#ifndef ORMO_HOST_SERVICES_RAW_CLOCK_H
#define ORMO_HOST_SERVICES_RAW_CLOCK_H

#include <cstdint>
#include <ctime>

namespace OrmoHost {

/// Nanoseconds of the raw monotonic clock.
inline uint64_t ReadRawClock() {
  timespec now;  // NOLINT(cppcoreguidelines-pro-type-member-init): written by the call
  clock_gettime(CLOCK_MONOTONIC_RAW, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

}  // namespace OrmoHost

#endif  // ORMO_HOST_SERVICES_RAW_CLOCK_H
