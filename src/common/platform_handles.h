/// \file
/// Owners of the platform's objects.
#ifndef ORMO_COMMON_PLATFORM_HANDLES_H
#define ORMO_COMMON_PLATFORM_HANDLES_H

#include "common/call_site.h"
#include "common/owner.h"
#include "common/scope_exit.h"
#include "zel/zel.h"
#include "zel/zel_mdl.h"

namespace Ormo {

inline void FreeDeviceMemory(void* memory, const CallSite& site = CallSite::Here()) noexcept {
  ReleaseQuietly(
      "device memory", [memory] { return zelrtFree(memory); }, site);
}

inline void DestroyDataBuffer(zelDataBuffer* buffer,
                              const CallSite& site = CallSite::Here()) noexcept {
  ReleaseQuietly(
      "a data buffer", [buffer] { return zelDestroyDataBuffer(buffer); }, site);
}

inline void DestroyTensorDesc(zelTensorDesc* desc,
                              const CallSite& site = CallSite::Here()) noexcept {
  ReleaseQuietly(
      "a tensor description", [desc] { zelDestroyTensorDesc(desc); }, site);
}

using DeviceMemory = Owner<void*, FreeDeviceMemory>;
using DataBuffer = Owner<zelDataBuffer*, DestroyDataBuffer>;
using TensorDescription = Owner<zelTensorDesc*, DestroyTensorDesc>;

}  // namespace Ormo

#endif  // ORMO_COMMON_PLATFORM_HANDLES_H
