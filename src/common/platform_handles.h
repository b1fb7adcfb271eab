/// \file
/// Owners of the platform's objects.
#ifndef ORMO_COMMON_PLATFORM_HANDLES_H
#define ORMO_COMMON_PLATFORM_HANDLES_H

#include "common/owner.h"
#include "zel/zel.h"
#include "zel/zel_mdl.h"

namespace Ormo {

/// Runs a release that must not throw: it may stand in a destructor during unwinding.
template <typename Release>
void ReleaseQuietly(Release release) noexcept {
  try {
    release();
  } catch (...) {  // NOLINT(bugprone-empty-catch)
  }
}

inline void FreeDeviceMemory(void* memory) noexcept {
  ReleaseQuietly([memory] { zelrtFree(memory); });
}

inline void DestroyDataBuffer(zelDataBuffer* buffer) noexcept {
  ReleaseQuietly([buffer] { zelDestroyDataBuffer(buffer); });
}

inline void DestroyTensorDesc(zelTensorDesc* desc) noexcept {
  ReleaseQuietly([desc] { zelDestroyTensorDesc(desc); });
}

using DeviceMemory = Owner<void*, FreeDeviceMemory>;
using DataBuffer = Owner<zelDataBuffer*, DestroyDataBuffer>;
using TensorDescription = Owner<zelTensorDesc*, DestroyTensorDesc>;

}  // namespace Ormo

#endif  // ORMO_COMMON_PLATFORM_HANDLES_H
