/// \file
/// What the platform tells of a loaded model.
#ifndef ORMO_MODEL_MODEL_INFO_H
#define ORMO_MODEL_MODEL_INFO_H

#include <cstdint>

#include "common/call_site.h"
#include "ormo/ormo_runner_detail.h"
#include "zel/zel_mdl.h"

namespace Ormo {

/// A description of the loaded model. 0, or STATUS_FAILED after an error line of `site`'s file;
/// `desc`, null or not, is the caller's to destroy either way, also after an exception.
int CreateModelDesc(uint32_t modelId, zelmdlDesc*& desc, CallSite site = CallSite::Here());

/// Fills `info`, which is as it was made, but for its device. On the worker of the model's device,
/// with its context current. What the platform has no function to tell is unknown, and so is, after
/// a warning line, what such a function fails to tell; the status is that of the description.
int DescribeModel(uint32_t modelId, OfflineModelInfo& info);

}  // namespace Ormo

#endif  // ORMO_MODEL_MODEL_INFO_H
