#include "engine/session_graph.h"

#include <string>
#include <utility>

#include "graph/ox_graph.h"
#include "graph/report.h"
#include "seam/single.h"

namespace OrmoHost {
namespace {

constexpr char STEP_RECORDS[] = "ox.stepRecords";
constexpr char SAVE[] = "ox.save";

// Whether the option has this value rather than its default.
bool IsChosen(const std::map<ox::TarnString, ox::TarnString>& options, const char* key,
              const std::string& value) {
  auto found = options.find(key);
  std::string text = found == options.end() ? "" : found->second.GetString();
  if (!text.empty() && text != value) {
    throw GraphError("", key, "\"" + value + "\" or nothing");
  }
  return !text.empty();
}

DeviceSpan SpanOf(const std::vector<uint8_t>& bytes) {
  // Operators never write to their inputs.
  auto* data = const_cast<uint8_t*>(bytes.data());
  return {nullptr, reinterpret_cast<std::byte*>(data), bytes.size()};
}

}  // namespace

GraphOptions GraphOptions::Parse(const std::map<ox::TarnString, ox::TarnString>& texts) {
  GraphOptions options;
  options.recordStyle =
      IsChosen(texts, STEP_RECORDS, "off") ? RecordStyle::OPERATORS_ONLY : RecordStyle::WITH_STEPS;
  options.savesOutputs = IsChosen(texts, SAVE, "outputs");
  return options;
}

void SessionGraph::Subscribe(std::shared_ptr<RecordOutput> output) {
  model_->Subscribe(std::move(output), options_.recordStyle);
}

std::vector<ox::Tensor> SessionGraph::Run(const std::vector<ox::Tensor>& inputs) {
  return Reporting(EXECUTION_REFUSED, model_->Origin(), EXECUTION_FAILED,
                   [&] { return Execute(inputs); });
}

std::vector<ox::Tensor> SessionGraph::Execute(const std::vector<ox::Tensor>& inputs) {
  Execution execution;
  for (size_t i = 0; i < inputs.size(); ++i) {
    execution.inputs.push_back(SpanOf(inputs[i].GetData()));
    const Shape& shape = inputs[i].GetTensorDesc().GetShape();
    if (!shape.empty()) {
      execution.shapes[i] = shape;
    }
  }
  std::vector<TensorSpec> specs = model_->Outputs(execution);
  for (const TensorSpec& spec : specs) {
    execution.outputs.push_back(
        AllocateSpan(model_->Device(), CountBytes(spec, ""), EXECUTION_REFUSED, model_->Origin()));
  }
  model_->Execute(execution);
  std::vector<ox::Tensor> outputs;
  for (size_t i = 0; i < specs.size(); ++i) {
    const DeviceSpan& span = execution.outputs[i];
    const auto* bytes = reinterpret_cast<const uint8_t*>(span.data);
    outputs.emplace_back(ox::TensorDesc(specs[i].shape, specs[i].format, specs[i].dataType),
                         std::vector<uint8_t>(bytes, bytes + span.size));
  }
  return outputs;
}

std::map<ox::TarnString, ox::Tensor> SessionGraph::NameOutputs(
    const std::vector<ox::Tensor>& outputs) const {
  std::map<ox::TarnString, ox::Tensor> named;
  const std::vector<TensorDescription>& described = model_->GetModel().Description().outputs;
  for (size_t i = 0; i < described.size(); ++i) {
    named[described[i].name.c_str()] = outputs[i];
  }
  return named;
}

std::shared_ptr<SessionGraph> CompileGraph(
    const Engine* engine, uint32_t id, uint32_t device, const ox::ComputeGraph& computeGraph,
    const std::map<ox::TarnString, ox::TarnString>& options) {
  std::string origin = "graph " + std::to_string(id);
  return Reporting(MODEL_REFUSED, origin, INVALID_MODEL, [&] {
    GraphOptions known = GraphOptions::Parse(options);
    Model model(MakeGraph(computeGraph));
    DeviceSpan work = AllocateSpan(device, model.WorkBytes(), MODEL_REFUSED, origin);
    DeviceSpan weights =
        AllocateSpan(device, model.GetProgram().WeightBytes(), MODEL_REFUSED, origin);
    return std::make_shared<SessionGraph>(
        engine, id, known,
        std::make_unique<LoadedModel>(id, device, origin, std::move(model), std::move(work),
                                      std::move(weights)));
  });
}

std::shared_ptr<SessionGraph> GetSessionGraph(uint32_t id) {
  std::shared_ptr<SessionGraph> graph = Single<SessionGraphs>().Find(id);
  Require(graph != nullptr, UNKNOWN_GRAPH);
  return graph;
}

}  // namespace OrmoHost
