#include "models/model_store.h"

#include <vector>

#include "control/lifetime.h"
#include "control/undying.h"

namespace OrmoHost {

ModelStore& ModelStore::Instance() {
  static Undying<ModelStore> instance;
  return *instance;
}

uint32_t ModelStore::NextId() {
  std::lock_guard<std::mutex> lock(mutex_);
  return ++lastId_;
}

bool ModelStore::Add(const std::shared_ptr<LoadedModel>& model) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (IsHostClosed()) {
    return false;
  }
  models_.emplace(model->Id(), model);
  return true;
}

std::shared_ptr<LoadedModel> ModelStore::Find(uint32_t id) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = models_.find(id);
  return found == models_.end() ? nullptr : found->second;
}

bool ModelStore::Remove(uint32_t id) {
  std::shared_ptr<LoadedModel> model;  // ends after the lock: a subscription waits for its thread
  std::lock_guard<std::mutex> lock(mutex_);
  auto found = models_.find(id);
  if (found == models_.end()) {
    return false;
  }
  model = std::move(found->second);
  models_.erase(found);
  return true;
}

size_t ModelStore::RemoveAll(std::optional<uint32_t> device) {
  std::vector<std::shared_ptr<LoadedModel>> removed;
  std::lock_guard<std::mutex> lock(mutex_);
  for (auto model = models_.begin(); model != models_.end();) {
    if (model->second->Device() == device.value_or(model->second->Device())) {
      removed.push_back(std::move(model->second));
      model = models_.erase(model);
    } else {
      ++model;
    }
  }
  return removed.size();
}

size_t ModelStore::Size() {
  std::lock_guard<std::mutex> lock(mutex_);
  return models_.size();
}

size_t ModelStore::SubscriptionCount() {
  std::vector<std::shared_ptr<LoadedModel>> models;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [id, model] : models_) {
      models.push_back(model);
    }
  }
  size_t count = 0;
  for (const std::shared_ptr<LoadedModel>& model : models) {
    count += model->IsSubscribed() ? 1 : 0;
  }
  return count;
}

}  // namespace OrmoHost
