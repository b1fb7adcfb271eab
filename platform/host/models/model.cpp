#include "models/model.h"

#include <algorithm>
#include <utility>

#include "graph/graph_file.h"
#include "zel/zel_mdl.h"

namespace OrmoHost {
namespace {

// Bytes of the input that carries a setting.
constexpr size_t SETTING_BYTES = 8;

}  // namespace

Model::Model(std::string_view image) : Model(ParseGraph(image)) {}

Model::Model(Graph graph) : program_(std::move(graph)) {
  for (const Setting& setting : program_.Settings()) {
    plans_.emplace(setting, program_.MakePlan(program_.ApplySetting(setting)));
  }
  if (program_.IsStatic()) {
    plans_.emplace(Setting(), program_.MakePlan(program_.InputShapes()));
  }
  Describe();
}

void Model::Describe() {
  std::vector<std::string> names = program_.InputNames();
  std::vector<size_t> inputBytes = program_.DeclaredInputBytes();
  for (size_t i = 0; i < names.size(); ++i) {
    description_.inputs.push_back({names[i], inputBytes[i]});
  }
  description_.outputBytes = program_.DeclaredOutputBytes();
  for (const auto& [setting, plan] : plans_) {
    workBytes_ = std::max(workBytes_, plan.workBytes);
    for (size_t i = 0; i < plan.inputBytes.size(); ++i) {
      description_.inputs[i].bytes = std::max(description_.inputs[i].bytes, plan.inputBytes[i]);
    }
    for (size_t i = 0; i < plan.outputBytes.size(); ++i) {
      description_.outputBytes[i] = std::max(description_.outputBytes[i], plan.outputBytes[i]);
    }
  }
  if (program_.Dynamic() != DynamicKind::NONE) {
    description_.inputs.push_back({ZEL_DYNAMIC_TENSOR_NAME, SETTING_BYTES});
  }
}

const Plan* Model::FindPlan(const Setting& setting) const {
  auto found = plans_.find(setting);
  return found == plans_.end() ? nullptr : &found->second;
}

}  // namespace OrmoHost
