/// \file
/// The platform for one runner: initialisation, devices, finalisation.
#ifndef ORMO_DEVICE_PLATFORM_SESSION_H
#define ORMO_DEVICE_PLATFORM_SESSION_H

#include <cstdint>
#include <functional>
#include <vector>

#include "common/call_site.h"
#include "common/init_flag.h"

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

/// The initialisation of a runner: the platform, then the devices, a worker for each, which become
/// known to the runner's tasks. STATUS_SUCCESS also when there is nothing left to do. Whatever
/// fails or throws once the platform is there, it is finalised, and so are the workers if they were
/// started here.
int StartRunner(InitFlag& runner, const std::function<int()>& initPlatform,
                const std::function<std::vector<uint32_t>()>& chooseDevices,
                const std::function<void(const std::vector<uint32_t>&)>& makeKnown,
                CallSite site = CallSite::Here());

/// Its finalisation: refuses further calls, waits for those inside, and has `release` give back
/// what the runner holds before the platform and the devices go. What is thrown leaves it
/// initialised. `name` is how lines call the runner.
void EndRunner(InitFlag& runner, const char* name, const std::function<void()>& release,
               bool& isPlatformOwner, CallSite site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_DEVICE_PLATFORM_SESSION_H
