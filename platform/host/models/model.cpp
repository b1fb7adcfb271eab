#include "models/model.h"

#include <algorithm>
#include <utility>

#include "graph/graph_file.h"
#include "zel/zel_mdl.h"

namespace OrmoHost {
namespace {

// Bytes of the input that carries a setting.
constexpr size_t SETTING_BYTES = 8;

// Sizes are as large as any plan makes them.
void Enlarge(std::vector<TensorDescription>& tensors, const std::vector<size_t>& bytes) {
  for (size_t i = 0; i < bytes.size(); ++i) {
    tensors[i].bytes = std::max(tensors[i].bytes, bytes[i]);
  }
}

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
  description_.inputs = program_.DeclaredInputs();
  description_.outputs = program_.DeclaredOutputs();
  description_.weightBytes = program_.WeightBytes();
  for (const auto& [setting, plan] : plans_) {
    description_.workBytes = std::max(description_.workBytes, plan.workBytes);
    Enlarge(description_.inputs, plan.inputBytes);
    Enlarge(description_.outputs, plan.outputBytes);
  }
  description_.dynamicKind = program_.Dynamic();
  if (description_.dynamicKind == DynamicKind::NONE) {
    return;
  }
  description_.inputs.push_back(
      {ZEL_DYNAMIC_TENSOR_NAME, SETTING_BYTES, {{1}, ox::DT_INT64, ox::FORMAT_ND}});
  description_.settingCount = program_.Settings().size();
  for (const Setting& setting : program_.Settings()) {
    description_.settings.insert(description_.settings.end(), setting.begin(), setting.end());
  }
}

const Plan* Model::FindPlan(const Setting& setting) const {
  auto found = plans_.find(setting);
  return found == plans_.end() ? nullptr : &found->second;
}

}  // namespace OrmoHost
