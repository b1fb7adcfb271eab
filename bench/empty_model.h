/// \file
/// The smallest model, loaded.
#ifndef ORMO_BENCH_EMPTY_MODEL_H
#define ORMO_BENCH_EMPTY_MODEL_H

#include <cstdint>
#include <string>

#include "compare.h"
#include "ormo/ormo_runner.h"

namespace Ormo::Bench {

/// Its image: one operator that is busy for no time.
inline std::string EmptyModelImage() {
  return R"({"format": "ox-graph", "version": 1, "name": "empty", "nodes": [{"name": "nothing",
      "type": "Spin", "outputs": [{"shape": [1], "dtype": "float32"}], "attrs": {"ns": 0}}]})";
}

/// Loads it on device 0 and unloads it, with the offline runner initialised in between.
class EmptyModel {
 public:
  EmptyModel() {
    Require(OrmoOfflineRunnerInit({}) == 0);
    std::string image = EmptyModelImage();
    OrmoDataInfo data;
    data.data = image.data();
    data.size = image.size();
    Require(OrmoOfflineLoadFromMem(data, id_) == 0);
  }

  ~EmptyModel() {
    OrmoOfflineUnloadModel(id_);
    OrmoOfflineRunnerFinalize();
  }

  EmptyModel(const EmptyModel&) = delete;
  EmptyModel& operator=(const EmptyModel&) = delete;

  uint32_t Id() const { return id_; }

 private:
  uint32_t id_ = 0;
};

}  // namespace Ormo::Bench

#endif  // ORMO_BENCH_EMPTY_MODEL_H
