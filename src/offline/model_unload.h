/// \file
/// The unload of a model, ready since before the load.
#ifndef ORMO_OFFLINE_MODEL_UNLOAD_H
#define ORMO_OFFLINE_MODEL_UNLOAD_H

#include <cstdint>
#include <future>

#include "common/call_site.h"
#include "error_manager/error_manager.h"
#include "offline/device_manager.h"

namespace Ormo {

/// Holds all memory that the unload of one model takes, so that a model can be unloaded when there
/// is none left.
class ModelUnload {
 public:
  ModelUnload();
  ModelUnload(const ModelUnload&) = delete;
  ModelUnload& operator=(const ModelUnload&) = delete;

  uint32_t GetModelId() const noexcept { return modelId_; }

  void SetModelId(uint32_t modelId) noexcept { modelId_ = modelId; }

  /// Unloads the model on the worker of its device, under the calling thread's error context, and
  /// waits for it. Once; false, with the reason as a line of `site`'s file, when no worker takes
  /// it. Rethrows what the platform throws.
  bool Run(uint32_t deviceId, CallSite site = CallSite::Here());

 private:
  PreparedTask MakeTask();

  uint32_t modelId_ = 0;
  error_message::Context context_;
  bool hasRun_ = false;
  std::future<void> done_;
  PreparedTask task_;
};

}  // namespace Ormo

#endif  // ORMO_OFFLINE_MODEL_UNLOAD_H
