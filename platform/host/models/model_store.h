/// \file
/// The loaded models of all devices.
#ifndef ORMO_HOST_MODELS_MODEL_STORE_H
#define ORMO_HOST_MODELS_MODEL_STORE_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "models/loaded_model.h"

namespace OrmoHost {

class ModelStore {
 public:
  static ModelStore& Instance();

  /// Never 0 and never the same again.
  uint32_t NextId();
  /// False once the host has closed.
  bool Add(const std::shared_ptr<LoadedModel>& model);
  /// Null for an id that is not loaded.
  std::shared_ptr<LoadedModel> Find(uint32_t id);
  /// The model ends when the last execution that still uses it does.
  bool Remove(uint32_t id);
  /// Removes the models of one device or of all; returns how many those were.
  size_t RemoveAll(std::optional<uint32_t> device);

  size_t Size();
  size_t SubscriptionCount();

 private:
  std::mutex mutex_;
  uint32_t lastId_ = 0;
  std::map<uint32_t, std::shared_ptr<LoadedModel>> models_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_MODELS_MODEL_STORE_H
