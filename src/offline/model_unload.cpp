#include "offline/model_unload.h"

#include <memory>

#include "common/scope_exit.h"
#include "offline/run_task.h"
#include "ormo/ormo_error_manager.h"

namespace Ormo {

// What is queued refers to this object, which waits for it, and owns the state behind the future,
// which the worker may leave later.
ModelUnload::ModelUnload()
    : ModelUnload(std::make_shared<Work>([this](uint32_t worker) {
        hasRun_ = !DeviceManager::IsDropped(worker, site_);
        if (hasRun_) {
          RunTask::UnloadModel(modelId_, context_, worker);
        }
      })) {}

ModelUnload::ModelUnload(const std::shared_ptr<Work>& work)
    : task_([work](uint32_t worker) { (*work)(worker); }), done_(work->get_future()) {}

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

}  // namespace Ormo
