/// \file
/// A device with its context, as the run managers hold them.
#ifndef ORMO_MODEL_DEVICE_CONTEXT_H
#define ORMO_MODEL_DEVICE_CONTEXT_H

#include <cstdint>

#include "common/call_site.h"
#include "zel/zel.h"

namespace Ormo {

/// Makes `deviceId` the calling thread's device and creates `context` on it, which becomes current.
/// 0, or the translated code after an error line of `site`'s file, with the device reset and no
/// context.
int CreateDeviceContext(uint32_t deviceId, zelrtContext& context, CallSite site = CallSite::Here());

/// Destroys `context` (null: none), sets it to null and resets the device. Any thread; every step
/// is made whatever the one before it returned.
void DestroyDeviceContext(uint32_t deviceId, zelrtContext& context,
                          CallSite site = CallSite::Here());

/// Makes `context` current on the calling thread: a second worker of a device did not create it,
/// and another runner or a task of the caller's may have set another one. 0, or STATUS_FAILED after
/// an error line of `site`'s file.
int MakeContextCurrent(zelrtContext context, CallSite site = CallSite::Here());

}  // namespace Ormo

#endif  // ORMO_MODEL_DEVICE_CONTEXT_H
