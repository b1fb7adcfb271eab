/// \file
/// An offline model: a program with the plans and sizes of its declared shapes.
#ifndef ORMO_HOST_MODELS_MODEL_H
#define ORMO_HOST_MODELS_MODEL_H

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "models/program.h"

namespace OrmoHost {

struct InputDescription {
  std::string name;
  size_t bytes;  ///< 0: depends on shapes that come with the execution
};

struct ModelDescription {
  std::vector<InputDescription> inputs;
  std::vector<size_t> outputBytes;
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

  /// Work memory of the largest setting; 0 when it depends on shapes that come with the execution.
  size_t WorkBytes() const { return workBytes_; }

  /// The plan for a declared setting, or for the declared shapes when the setting is empty. Null
  /// when there is none.
  const Plan* FindPlan(const Setting& setting) const;

 private:
  void Describe();

  Program program_;
  std::map<Setting, Plan> plans_;
  ModelDescription description_;
  size_t workBytes_ = 0;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_MODELS_MODEL_H
