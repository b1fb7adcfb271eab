/// \file
/// A model on a device.
#ifndef ORMO_HOST_MODELS_LOADED_MODEL_H
#define ORMO_HOST_MODELS_LOADED_MODEL_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "models/model.h"
#include "profiling/subscription.h"
#include "runtime/device_memory.h"
#include "runtime/table.h"

namespace OrmoHost {

/// A user's device memory at `data`, kept by the block that holds it.
struct DeviceSpan {
  std::shared_ptr<Block> block;
  std::byte* data = nullptr;
  size_t size = 0;
};

/// Refuses an address whose bytes do not come from zelrtMalloc.
DeviceSpan GetDeviceSpan(void* address, size_t size);

/// Memory of the platform's own. Refuses, and reports what `origin` needs, when there is no room.
DeviceSpan AllocateSpan(uint32_t device, size_t size, const std::string& origin);

/// What one execution works on.
struct Execution {
  std::vector<DeviceSpan> inputs;  ///< the setting's input included
  std::vector<DeviceSpan> outputs;
  std::map<size_t, Shape> shapes;  ///< of inputs, as far as they were given
  Setting setting;                 ///< empty: none
};

class LoadedModel {
 public:
  /// Writes the weights.
  LoadedModel(uint32_t id, uint32_t device, std::string origin, Model model, DeviceSpan work,
              DeviceSpan weights);

  uint32_t Device() const { return device_; }

  /// What messages call the model.
  const std::string& Origin() const { return origin_; }

  const Model& GetModel() const { return model_; }

  /// What an execution computes. Throws a GraphError when its shapes or its setting do not fit.
  std::vector<TensorSpec> Outputs(const Execution& execution) const;

  /// Waits for an execution that is under way. Throws a GraphError when a buffer, a shape or the
  /// setting does not fit.
  void Execute(const Execution& execution);

  void Subscribe(std::shared_ptr<RecordOutput> output, RecordStyle style);
  /// Returns when the last record is written.
  void Unsubscribe();

 private:
  void CheckInputCount(const Execution& execution) const;
  void CheckOutputCount(const Execution& execution) const;
  std::vector<Shape> InputShapes(const Execution& execution) const;
  void RunPlan(const Plan& plan, const Execution& execution, std::byte* work);

  const uint32_t id_;
  const uint32_t device_;
  const std::string origin_;
  const Model model_;
  const DeviceSpan work_;
  const DeviceSpan weights_;

  std::mutex mutex_;  ///< held during an execution
  std::unique_ptr<Subscription> subscription_;
};

/// The models of all devices by id.
using LoadedModels = Table<LoadedModel>;

/// Makes a model known and returns its id: never 0, never used again.
uint32_t AddModel(uint32_t device, const std::string& origin, Model model, DeviceSpan work,
                  DeviceSpan weights);

/// Refuses an id that is not loaded.
std::shared_ptr<LoadedModel> GetModel(uint32_t id);

}  // namespace OrmoHost

#endif  // ORMO_HOST_MODELS_LOADED_MODEL_H
