/// \file
/// The platform for one runner: initialisation, devices, finalisation.
#ifndef ORMO_DEVICE_PLATFORM_SESSION_H
#define ORMO_DEVICE_PLATFORM_SESSION_H

#include <cstdint>
#include <functional>
#include <vector>

#include "common/call_site.h"

namespace Ormo {

/// Initialises the platform. Returns 0, `isOwner` telling whether this call was the one that did
/// it, or the platform's code after an error line of `site`'s file.
int32_t InitPlatform(bool& isOwner, CallSite site = CallSite::Here());

/// Finalises the platform if `isOwner` is set, and clears it.
void FinalizePlatform(bool& isOwner, CallSite site = CallSite::Here());

/// The devices to use: those requested, in their order, or device 0 when none is. Empty, with the
/// reason with the error manager, when the platform has no devices or lacks one of them.
std::vector<uint32_t> ChooseDevices(const std::vector<uint32_t>& requested,
                                    CallSite site = CallSite::Here());

/// The rest of a runner's initialisation, once the platform is there: chooses the devices, starts a
/// worker for each and makes them known to the runner's tasks. 0, or STATUS_FAILED; whatever fails
/// or throws, the platform is finalised, and so are the workers if they were started here.
int StartOnDevices(const std::function<std::vector<uint32_t>()>& choose,
                   const std::function<void(const std::vector<uint32_t>&)>& makeKnown,
                   CallSite site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_DEVICE_PLATFORM_SESSION_H
