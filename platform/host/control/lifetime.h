/// \file
/// How what the host holds is given up.
#ifndef ORMO_HOST_CONTROL_LIFETIME_H
#define ORMO_HOST_CONTROL_LIFETIME_H

#include <cstdint>

namespace OrmoHost {

/// Releases what lives on a device: contexts, models with their subscriptions, memory. What
/// somebody should have released counts as abandoned.
void ReleaseDevice(uint32_t device);

/// Releases everything that users of the platform hold; the same counts as abandoned.
void ReleasePlatform();

/// True from the moment that the host was unloaded or its process exits. Nothing is created any
/// more.
bool IsHostClosed();

}  // namespace OrmoHost

#endif  // ORMO_HOST_CONTROL_LIFETIME_H
