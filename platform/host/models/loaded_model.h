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

/// Throws a GraphError when these are not bytes from zelrtMalloc on the device. `use` is what they
/// are for.
DeviceSpan GetDeviceSpan(void* address, size_t size, uint32_t device, const std::string& use);

/// Memory of the platform's own. Refuses, and reports what `origin` needs as `message`, when there
/// is no room.
DeviceSpan AllocateSpan(uint32_t device, size_t size, const char* message,
                        const std::string& origin);

/// What one execution works on.
struct Execution {
  std::vector<DeviceSpan> inputs;  ///< the setting's input included
  std::vector<DeviceSpan> outputs;
  std::map<size_t, Shape> shapes;  ///< of inputs, as far as they were given
  Setting setting;                 ///< empty: none
};

/// The datasets of an execution at a count of changes: the same pair names the same memory.
struct DatasetPair {
  const void* input = nullptr;
  const void* output = nullptr;
  uint64_t changes = 0;
};

/// An execution that can be repeated without looking anything up.
struct Repetition {
  DatasetPair datasets;
  const Plan* plan = nullptr;
  Areas areas;
  std::vector<std::weak_ptr<Block>> blocks;  ///< where the areas lie, as long as it is there
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
  /// setting does not fit. What was made of the execution is remembered for `datasets`, if any.
  void Execute(const Execution& execution, const DatasetPair* datasets = nullptr);
  /// Executes again what was executed last. False, and nothing happens, when that was not on these
  /// datasets: only what is measured over and over is worth remembering.
  bool Repeat(const DatasetPair& datasets);

  void Subscribe(std::shared_ptr<RecordOutput> output, RecordStyle style);
  /// Returns when the last record is written.
  void Unsubscribe();

 private:
  std::vector<Shape> InputShapes(const Execution& execution) const;
  Areas MakeAreas(const Plan& plan, const Execution& execution, std::byte* work) const;
  void Run(const Plan& plan, const Areas& areas);
  void Remember(const DatasetPair& datasets, const Execution& execution, const Plan& plan,
                const Areas& areas);

  const uint32_t id_;
  const uint32_t device_;
  const std::string origin_;
  const Model model_;
  const DeviceSpan work_;
  const DeviceSpan weights_;

  std::mutex mutex_;  ///< held during an execution
  std::unique_ptr<Subscription> subscription_;
  Repetition last_;
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
