/// \file
/// The unload of a model, ready since before the load.
#ifndef ORMO_OFFLINE_MODEL_UNLOAD_H
#define ORMO_OFFLINE_MODEL_UNLOAD_H

#include <cstdint>
#include <future>
#include <memory>

#include "common/call_site.h"
#include "device/device_manager.h"
#include "error_manager/error_manager.h"

namespace Ormo {

/// Holds all memory that the unload of one model takes, so that a model can be unloaded when there
/// is none left.
class ModelUnload {
 public:
  ModelUnload();
  ~ModelUnload() = default;
  ModelUnload(const ModelUnload&) = delete;
  ModelUnload& operator=(const ModelUnload&) = delete;

  uint32_t GetModelId() const noexcept { return modelId_; }

  void SetModelId(uint32_t modelId) noexcept { modelId_ = modelId; }

  /// Unloads the model on the worker of its device, under the calling thread's error context, and
  /// waits for it. Once; false, with the reason as a line of `site`'s file, when no worker takes
  /// it. Rethrows what the platform throws.
  bool Run(uint32_t deviceId, CallSite site = CallSite::Here());

 private:
  using Work = std::packaged_task<void(uint32_t)>;

  explicit ModelUnload(const std::shared_ptr<Work>& work);

  uint32_t modelId_ = 0;
  error_message::Context context_;
  bool hasRun_ = false;
  CallSite site_ = CallSite::Here();
  PreparedTask task_;
  std::future<void> done_;  ///< goes first: work that ends under a future takes memory to say so
};

}  // namespace Ormo

#endif  // ORMO_OFFLINE_MODEL_UNLOAD_H
