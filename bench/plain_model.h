/// \file
/// What the library does with a model on a device, as bare platform calls on the calling thread.
#ifndef ORMO_BENCH_PLAIN_MODEL_H
#define ORMO_BENCH_PLAIN_MODEL_H

#include <cstdint>
#include <string>

#include "zel/zel.h"
#include "zel/zel_mdl.h"

namespace Ormo::Bench {

/// Device 0 with a context that is current on the thread that makes it.
class PlainDevice {
 public:
  PlainDevice();
  ~PlainDevice();
  PlainDevice(const PlainDevice&) = delete;
  PlainDevice& operator=(const PlainDevice&) = delete;

 private:
  zelrtContext context_ = nullptr;
};

/// A loaded model with zeros for inputs and room for its outputs. What fails ends the program.
class PlainModel {
 public:
  explicit PlainModel(const std::string& image);
  ~PlainModel();
  PlainModel(const PlainModel&) = delete;
  PlainModel& operator=(const PlainModel&) = delete;

  void Execute();
  /// The average of `loop` executions by the library's rule, in nanoseconds.
  double Measure(size_t loop);

 private:
  uint32_t id_ = 0;
  zelmdlDesc* desc_ = nullptr;
  zelmdlDataset* inputs_ = nullptr;
  zelmdlDataset* outputs_ = nullptr;
};

}  // namespace Ormo::Bench

#endif  // ORMO_BENCH_PLAIN_MODEL_H
