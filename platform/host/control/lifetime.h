/// \file
/// The host's end.
#ifndef ORMO_HOST_CONTROL_LIFETIME_H
#define ORMO_HOST_CONTROL_LIFETIME_H

namespace OrmoHost {

/// Gives up all that the host holds: threads, descriptors, memory.
void ReleaseEverything();

}  // namespace OrmoHost

#endif  // ORMO_HOST_CONTROL_LIFETIME_H
