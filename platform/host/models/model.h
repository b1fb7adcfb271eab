/// \file
/// An offline model: a program with the plans and sizes of its declared shapes.
#ifndef ORMO_HOST_MODELS_MODEL_H
#define ORMO_HOST_MODELS_MODEL_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "models/program.h"

namespace OrmoHost {

struct ModelDescription {
  std::vector<TensorDescription> inputs;
  std::vector<TensorDescription> outputs;
  DynamicKind dynamicKind = DynamicKind::NONE;
  size_t settingCount = 0;
  std::vector<int64_t> settings;  ///< their values, one after another
  size_t workBytes = 0;           ///< of the largest setting; 0: comes with the execution
  size_t weightBytes = 0;
};

class Model {
 public:
  /// Throws a GraphError.
  explicit Model(Graph graph);
  /// From the text of a graph file.
  explicit Model(std::string_view image);

  const Program& GetProgram() const { return program_; }

  /// Sizes for the largest setting; a dynamic model has one input more, for the setting.
  const ModelDescription& Description() const { return description_; }

  size_t WorkBytes() const { return description_.workBytes; }

  /// The plan for a declared setting, or for the declared shapes when the setting is empty. Null
  /// when there is none.
  const Plan* FindPlan(const Setting& setting) const;

 private:
  void Describe();

  Program program_;
  std::map<Setting, Plan> plans_;
  ModelDescription description_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_MODELS_MODEL_H
