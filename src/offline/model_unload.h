/// \file
/// The unload of a model, ready since before the load.
#ifndef ORMO_OFFLINE_MODEL_UNLOAD_H
#define ORMO_OFFLINE_MODEL_UNLOAD_H

#include <cstdint>
#include <future>
#include <list>
#include <mutex>

#include "common/call_site.h"
#include "device/thread_pool.h"
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
  uint32_t modelId_ = 0;
  error_message::Context context_;
  bool hasRun_ = false;
  CallSite site_ = CallSite::Here();
  std::list<ThreadPool::Task> task_;
  std::future<void> done_;  ///< goes first: work that ends under a future takes memory to say so
};

/// The unloads of the models that are loaded. Each is handed around as the one element of a list,
/// which takes no memory. Any thread.
class ModelUnloads {
 public:
  void Keep(std::list<ModelUnload>& unload);

  /// The model's; one of its own when that is not here, since another thread unloads the model or
  /// it could not be unloaded.
  std::list<ModelUnload> Take(uint32_t modelId);

  void Clear();

 private:
  std::mutex mutex_;
  std::list<ModelUnload> unloads_;
};

}  // namespace Ormo

#endif  // ORMO_OFFLINE_MODEL_UNLOAD_H
