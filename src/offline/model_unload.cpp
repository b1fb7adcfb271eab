#include "offline/model_unload.h"

#include <algorithm>
#include <memory>

#include "common/scope_exit.h"
#include "device/device_manager.h"
#include "offline/run_task.h"
#include "ormo/ormo_error_manager.h"

namespace Ormo {

// What is queued refers to this object, which waits for it, and owns the state behind the future,
// which the worker may leave later.
ModelUnload::ModelUnload() {
  const auto work = std::make_shared<std::packaged_task<void(uint32_t)>>([this](uint32_t worker) {
    hasRun_ = !DeviceManager::IsDropped(worker, site_);
    if (hasRun_) {
      RunTask::UnloadModel(modelId_, context_, worker);
    }
  });
  task_.push_back({[work](uint32_t worker) { (*work)(worker); }});
  done_ = work->get_future();
}

bool ModelUnload::Run(uint32_t deviceId, CallSite site) {
  site_ = site;
  // A long text that cannot be copied is no reason to keep the model.
  ReleaseQuietly(
      "the error context",
      [this] { context_ = OrmoErrorManager::GetInstance().OrmoGetErrorContext(); }, site);
  if (!DeviceManager::Commit(task_, {deviceId, site})) {
    return false;
  }
  done_.get();
  return hasRun_;
}

void ModelUnloads::Keep(std::list<ModelUnload>& unload) {
  const std::lock_guard<std::mutex> lock(mutex_);
  unloads_.splice(unloads_.end(), unload);
}

std::list<ModelUnload> ModelUnloads::Take(uint32_t modelId) {
  std::list<ModelUnload> unload;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto kept = std::find_if(
        unloads_.begin(), unloads_.end(),
        [modelId](const ModelUnload& candidate) { return candidate.GetModelId() == modelId; });
    if (kept != unloads_.end()) {
      unload.splice(unload.end(), unloads_, kept);
    }
  }
  if (unload.empty()) {
    unload.emplace_back();
    unload.front().SetModelId(modelId);
  }
  return unload;
}

void ModelUnloads::Clear() {
  const std::lock_guard<std::mutex> lock(mutex_);
  unloads_.clear();
}

}  // namespace Ormo
