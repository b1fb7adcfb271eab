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

namespace OrmoHost {

/// Device memory at `data`, kept by the block that holds it.
struct DeviceSpan {
  std::shared_ptr<Block> block;
  std::byte* data = nullptr;
  size_t size = 0;
};

/// The bytes at an address that a user got from zelrtMalloc; without a block when it did not.
DeviceSpan FindDeviceSpan(void* address, size_t size);

/// What one execution works on.
struct Execution {
  std::vector<DeviceSpan> inputs;  ///< the setting's input included
  std::vector<DeviceSpan> outputs;
  std::map<size_t, Shape> shapes;  ///< of inputs, as far as they were given
  Setting setting;                 ///< empty: none
};

/// Codes are those of codes.h.
class LoadedModel {
 public:
  LoadedModel(uint32_t id, uint32_t device, std::string origin, Model model);

  uint32_t Id() const { return id_; }

  uint32_t Device() const { return device_; }

  /// What messages call the model.
  const std::string& Origin() const { return origin_; }

  const Model& GetModel() const { return model_; }

  /// Takes work and weight memory, and writes the weights.
  void UseMemory(DeviceSpan work, DeviceSpan weights);

  /// Waits for an execution that is under way. Throws a GraphError when a buffer, a shape or the
  /// setting does not fit.
  int32_t Execute(const Execution& execution);

  /// Throws std::system_error when there is no thread to write the records.
  int32_t Subscribe(std::shared_ptr<RecordOutput> output);
  /// Returns when the last record is written.
  int32_t Unsubscribe();
  bool IsSubscribed();

 private:
  void CheckCounts(const Execution& execution) const;
  std::vector<Shape> InputShapes(const Execution& execution) const;
  void RunPlan(const Plan& plan, const Areas& areas);

  const uint32_t id_;
  const uint32_t device_;
  const std::string origin_;
  const Model model_;
  DeviceSpan work_;
  DeviceSpan weights_;

  std::mutex mutex_;  ///< held during an execution
  std::unique_ptr<Subscription> subscription_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_MODELS_LOADED_MODEL_H
