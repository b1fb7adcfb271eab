#include "models/loaded_model.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <utility>

#include "graph/report.h"
#include "profiling/account.h"
#include "seam/single.h"
#include "services/raw_clock.h"

namespace OrmoHost {
namespace {

bool Agrees(const Shape& given, const Shape& declared) {
  return std::equal(given.begin(), given.end(), declared.begin(), declared.end(),
                    [](int64_t dim, int64_t expected) {
                      return dim > 0 && (dim == expected || expected == UNKNOWN_DIM);
                    });
}

void CheckSize(const DeviceSpan& span, size_t bytes, const std::string& name) {
  if (span.size < bytes) {
    throw GraphError(
        name, "",
        "a buffer of " + std::to_string(bytes) + " bytes, not " + std::to_string(span.size));
  }
}

void CheckCount(const std::vector<DeviceSpan>& spans, size_t count, const char* kind) {
  if (spans.size() != count) {
    throw GraphError("", "", std::to_string(count) + kind);
  }
}

// Executions on more buffers are prepared every time.
constexpr size_t MOST_KEPT_BLOCKS = 8;

}  // namespace

DeviceSpan GetDeviceSpan(void* address, size_t size, uint32_t device, const std::string& use) {
  std::shared_ptr<Block> block = FindUserBlock(address, size);
  if (block == nullptr || block->Device() != device) {
    throw GraphError("", "",
                     std::to_string(size) + " bytes of memory of device " + std::to_string(device) +
                         " for " + use);
  }
  return {std::move(block), static_cast<std::byte*>(address), size};
}

DeviceSpan AllocateSpan(uint32_t device, size_t size, const char* message,
                        const std::string& origin) {
  try {
    auto block = std::make_shared<Block>(device, size, ZEL_MEM_MALLOC_HUGE_FIRST);
    return {block, block->Data(), size};
  } catch (const Refusal&) {
    Report(
        message, origin,
        "expected room for " + std::to_string(size) + " bytes on device " + std::to_string(device));
    throw;
  }
}

LoadedModel::LoadedModel(uint32_t id, uint32_t device, std::string origin, Model model,
                         DeviceSpan work, DeviceSpan weights)
    : id_(id),
      device_(device),
      origin_(std::move(origin)),
      model_(std::move(model)),
      work_(std::move(work)),
      weights_(std::move(weights)) {
  model_.GetProgram().FillWeights(weights_.data);
}

std::vector<TensorSpec> LoadedModel::Outputs(const Execution& execution) const {
  CheckCount(execution.inputs, model_.Description().inputs.size(), " input buffers");
  std::vector<Shape> shapes = InputShapes(execution);
  const Plan* plan = model_.FindPlan(execution.setting);
  return plan != nullptr ? plan->outputs : model_.GetProgram().MakePlan(shapes).outputs;
}

void LoadedModel::Execute(const Execution& execution, const DatasetPair* datasets) {
  CheckCount(execution.inputs, model_.Description().inputs.size(), " input buffers");
  CheckCount(execution.outputs, model_.Description().outputs.size(), " output buffers");
  std::vector<Shape> shapes = InputShapes(execution);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (const Plan* plan = model_.FindPlan(execution.setting)) {
    Areas areas = MakeAreas(*plan, execution, work_.data);
    Run(*plan, areas);
    if (datasets != nullptr) {
      Remember(*datasets, execution, *plan, areas);
    }
    return;
  }
  Plan plan = model_.GetProgram().MakePlan(shapes);
  DeviceSpan work = AllocateSpan(device_, plan.workBytes, EXECUTION_REFUSED, origin_);
  Run(plan, MakeAreas(plan, execution, work.data));
}

void LoadedModel::Remember(const DatasetPair& datasets, const Execution& execution,
                           const Plan& plan, const Areas& areas) {
  bool isAlwaysTheSame = execution.setting.empty() && execution.shapes.empty();
  if (!isAlwaysTheSame || execution.inputs.size() + execution.outputs.size() > MOST_KEPT_BLOCKS) {
    return;
  }
  Repetition repetition{datasets, &plan, areas, {}};
  for (const auto* spans : {&execution.inputs, &execution.outputs}) {
    for (const DeviceSpan& span : *spans) {
      repetition.blocks.push_back(span.block);
    }
  }
  last_ = std::move(repetition);
}

bool LoadedModel::Repeat(const DatasetPair& datasets) {
  const std::lock_guard<std::mutex> lock(mutex_);
  bool isSame = last_.plan != nullptr && last_.datasets.input == datasets.input &&
                last_.datasets.output == datasets.output &&
                last_.datasets.changes == datasets.changes;
  if (!isSame) {
    return false;
  }
  std::array<std::shared_ptr<Block>, MOST_KEPT_BLOCKS> kept;
  for (size_t i = 0; i < last_.blocks.size(); ++i) {
    kept[i] = last_.blocks[i].lock();
    if (kept[i] == nullptr) {
      return false;
    }
  }
  Run(*last_.plan, last_.areas);
  return true;
}

std::vector<Shape> LoadedModel::InputShapes(const Execution& execution) const {
  const Program& program = model_.GetProgram();
  bool isDynamic = program.Dynamic() != DynamicKind::NONE;
  if (isDynamic && execution.setting.empty()) {
    throw GraphError("", "dynamic", "a setting before each execution");
  }
  std::vector<Shape> shapes = program.InputShapes();
  for (const auto& [index, shape] : execution.shapes) {
    const std::string& name = model_.Description().inputs[index].name;
    if (index >= shapes.size() || !Agrees(shape, shapes[index])) {
      throw GraphError(name, "shape",
                       "one that agrees with the declared one; not " + ToText(shape));
    }
    shapes[index] = isDynamic ? shapes[index] : shape;
  }
  for (size_t i = 0; i < shapes.size(); ++i) {
    if (!isDynamic && HasUnknownDim(shapes[i])) {
      throw GraphError(model_.Description().inputs[i].name, "shape", "a shape with the input");
    }
  }
  return shapes;
}

Areas LoadedModel::MakeAreas(const Plan& plan, const Execution& execution, std::byte* work) const {
  Areas areas;
  for (size_t i = 0; i < plan.inputBytes.size(); ++i) {
    CheckSize(execution.inputs[i], plan.inputBytes[i], model_.Description().inputs[i].name);
    areas.inputs.push_back(execution.inputs[i].data);
  }
  for (size_t i = 0; i < plan.outputBytes.size(); ++i) {
    CheckSize(execution.outputs[i], plan.outputBytes[i], "output " + std::to_string(i));
    areas.outputs.push_back(execution.outputs[i].data);
  }
  areas.work = work;
  areas.weights = weights_.data;
  return areas;
}

void LoadedModel::Run(const Plan& plan, const Areas& areas) {
  if (subscription_ == nullptr) {
    OrmoHost::Run(plan, areas);
    return;
  }
  std::vector<StepTiming>& timings = subscription_->Timings();
  timings.clear();  // of an execution that failed
  uint64_t start = subscription_->Start();
  uint64_t lastEnd = RunTimed(plan, areas, start, timings);
  uint64_t end = std::max(ReadRawClock(), lastEnd);
  AddToAccount(model_.GetProgram().StepLabels(), timings);
  subscription_->EndExecution(start, end);
}

void LoadedModel::Subscribe(std::shared_ptr<RecordOutput> output, RecordStyle style) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Require(subscription_ == nullptr, ALREADY_SUBSCRIBED);
  subscription_ = std::make_unique<Subscription>(id_, model_.GetProgram().StepLabels(),
                                                 std::move(output), style);
}

void LoadedModel::Unsubscribe() {
  std::unique_ptr<Subscription> ended;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ended = std::move(subscription_);
  }
  Require(ended != nullptr, NOT_SUBSCRIBED);
  Require(ended->Finish(), RECORDS_LOST);
}

uint32_t AddModel(uint32_t device, const std::string& origin, Model model, DeviceSpan work,
                  DeviceSpan weights) {
  static std::atomic<uint32_t> lastId{0};
  uint32_t id = ++lastId;
  Single<LoadedModels>().Add(
      id, std::make_shared<LoadedModel>(id, device, origin, std::move(model), std::move(work),
                                        std::move(weights)));
  return id;
}

std::shared_ptr<LoadedModel> GetModel(uint32_t id) {
  std::shared_ptr<LoadedModel> model = Single<LoadedModels>().Find(id);
  Require(model != nullptr, UNKNOWN_MODEL);
  return model;
}

}  // namespace OrmoHost
