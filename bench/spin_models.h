/// \file
/// Models of a known cost.
#ifndef ORMO_BENCH_SPIN_MODELS_H
#define ORMO_BENCH_SPIN_MODELS_H

#include <cstdint>
#include <string>

#include "compare.h"
#include "ormo/ormo_runner.h"

namespace Ormo::Bench {

/// One operator that is busy for that long.
inline std::string SpinModelImage(int64_t nanoseconds) {
  return R"({"format": "ox-graph", "version": 1, "name": "spin", "nodes": [{"name": "spin",
      "type": "Spin", "outputs": [{"shape": [1], "dtype": "float32"}], "attrs": {"ns": )" +
         std::to_string(nanoseconds) + "}}]}";
}

/// One that is busy for no time, loaded, with the offline runner initialised in between.
class EmptyModel {
 public:
  EmptyModel() {
    Require(OrmoOfflineRunnerInit({}) == 0);
    std::string image = SpinModelImage(0);
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

#endif  // ORMO_BENCH_SPIN_MODELS_H
