// Reads any text as a graph file, loads it as a model of the host platform, executes it, and takes
// it through the graph engine's form and back.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "graph/graph_file.h"
#include "graph/ox_graph.h"
#include "models/program.h"
#include "ox/graph_utils.h"
#include "support.h"
#include "zel/zel.h"
#include "zel/zel_mdl.h"

namespace {

using Ormo::Fuzz::Require;
using OrmoHost::Graph;
using OrmoHost::GraphNode;

// So that no model has much to do.
constexpr size_t DEVICE_MEMORY = size_t{8} << 10U;
constexpr int64_t LONGEST_SPIN = 1000;  // nanoseconds

std::optional<Graph> Parse(std::string_view text) {
  try {
    return OrmoHost::ParseGraph(text);
  } catch (const OrmoHost::GraphError&) {
    return std::nullopt;
  }
}

bool IsSameNode(const GraphNode& left, const GraphNode& right) {
  return left.name == right.name && left.type == right.type && left.inputs == right.inputs &&
         left.output.shape == right.output.shape && left.output.dataType == right.output.dataType &&
         left.output.format == right.output.format && left.attrs.size() == right.attrs.size();
}

// What a session makes of the graph.
void Convert(const Graph& graph) {
  Graph back = OrmoHost::MakeGraph(*OrmoHost::MakeComputeGraph(graph));
  Require(std::equal(graph.nodes.begin(), graph.nodes.end(), back.nodes.begin(), back.nodes.end(),
                     IsSameNode),
          "the graph engine's form loses nothing");
  try {
    const OrmoHost::Program program(std::move(back));
    if (program.IsStatic()) {
      program.MakePlan(program.InputShapes());
    }
  } catch (const OrmoHost::GraphError&) {
  }
}

bool IsShort(const Graph& graph) {
  return std::all_of(graph.nodes.begin(), graph.nodes.end(), [](const GraphNode& node) {
    const auto found = node.attrs.find("ns");
    const int64_t* ns = found == node.attrs.end() ? nullptr : std::get_if<int64_t>(&found->second);
    return ns == nullptr || *ns <= LONGEST_SPIN;
  });
}

// Device memory in a dataset, all released with it.
class Buffers {
 public:
  Buffers() : dataset_(zelmdlCreateDataset()) {}

  ~Buffers() {
    for (zelDataBuffer* buffer : buffers_) {
      zelrtFree(zelGetDataBufferAddr(buffer));
      zelDestroyDataBuffer(buffer);
    }
    zelmdlDestroyDataset(dataset_);
  }

  Buffers(const Buffers&) = delete;
  Buffers& operator=(const Buffers&) = delete;

  // False when there is no room.
  bool Add(size_t size) {
    void* memory = nullptr;
    if (zelrtMalloc(&memory, std::max<size_t>(size, 64), ZEL_MEM_MALLOC_HUGE_FIRST) != 0) {
      return false;
    }
    buffers_.push_back(zelCreateDataBuffer(memory, std::max<size_t>(size, 64)));
    return zelmdlAddDatasetBuffer(dataset_, buffers_.back()) == 0;
  }

  zelmdlDataset* Get() const { return dataset_; }

 private:
  zelmdlDataset* dataset_;
  std::vector<zelDataBuffer*> buffers_;
};

void ApplySetting(uint32_t model, const Graph& graph, size_t index, zelmdlDataset* inputs) {
  const OrmoHost::Setting& setting = graph.settings.front();
  if (graph.dynamicKind == OrmoHost::DynamicKind::BATCH) {
    zelmdlSetDynamicBatchSize(model, inputs, index, static_cast<uint64_t>(setting[0]));
  } else if (graph.dynamicKind == OrmoHost::DynamicKind::IMAGE) {
    zelmdlSetDynamicHWSize(model, inputs, index, static_cast<uint64_t>(setting[0]),
                           static_cast<uint64_t>(setting[1]));
  } else if (setting.size() <= ZEL_MAX_DIM_CNT) {
    zelmdlIODims dims = {};
    dims.dimCount = setting.size();
    std::copy(setting.begin(), setting.end(), dims.dims);
    zelmdlSetInputDynamicDims(model, inputs, index, &dims);
  }
}

// Shapes that are open get a length of 2 everywhere.
void GiveShapes(const Graph& graph, zelmdlDataset* inputs) {
  size_t index = 0;
  for (const GraphNode& node : graph.nodes) {
    if (node.type != OrmoHost::DATA_TYPE) {
      continue;
    }
    OrmoHost::Shape shape = node.output.shape;
    std::replace(shape.begin(), shape.end(), OrmoHost::UNKNOWN_DIM, int64_t{2});
    zelTensorDesc* desc = zelCreateTensorDesc(0, static_cast<int>(shape.size()), shape.data(), 0);
    zelmdlSetDatasetTensorDesc(inputs, desc, index++);
    zelDestroyTensorDesc(desc);
  }
}

void Execute(uint32_t model, const Graph& graph) {
  zelmdlDesc* desc = zelmdlCreateDesc();
  Require(zelmdlGetDesc(desc, model) == 0, "a loaded model has a description");
  Buffers inputs;
  Buffers outputs;
  bool hasRoom = true;
  for (size_t i = 0; hasRoom && i < zelmdlGetNumInputs(desc); ++i) {
    hasRoom = inputs.Add(zelmdlGetInputSizeByIndex(desc, i));
  }
  for (size_t i = 0; hasRoom && i < zelmdlGetNumOutputs(desc); ++i) {
    hasRoom = outputs.Add(zelmdlGetOutputSizeByIndex(desc, i));
  }
  if (hasRoom) {
    size_t index = 0;
    if (zelmdlGetInputIndexByName(desc, ZEL_DYNAMIC_TENSOR_NAME, &index) == 0 &&
        !graph.settings.empty()) {
      ApplySetting(model, graph, index, inputs.Get());
    } else {
      GiveShapes(graph, inputs.Get());
    }
    zelmdlExecute(model, inputs.Get(), outputs.Get());
    zelmdlExecute(model, inputs.Get(), outputs.Get());
  }
  zelmdlDestroyDesc(desc);
}

void Load(std::string_view text, const std::string& path, const std::optional<Graph>& graph) {
  size_t work = 0;
  size_t weights = 0;
  const bool isModel = zelmdlQuerySizeFromMem(text.data(), text.size(), &work, &weights) == 0;
  Require(!isModel || graph.has_value(), "a model is a graph");
  uint32_t model = 0;
  const bool isLoaded = zelmdlLoadFromFile(path.c_str(), &model) == 0;
  const bool fits = work <= DEVICE_MEMORY / 4 && weights <= DEVICE_MEMORY / 4;
  Require(
      isLoaded ? isModel && work <= DEVICE_MEMORY && weights <= DEVICE_MEMORY : !isModel || !fits,
      "a model loads if it fits");
  if (isLoaded) {
    if (IsShort(*graph)) {
      Execute(model, *graph);
    }
    Require(zelmdlUnload(model) == 0, "a loaded model can be unloaded");
  }
}

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzing library's
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string atRest = Ormo::Fuzz::PreparePlatform(DEVICE_MEMORY);
  static const Ormo::Fuzz::MemoryFile file;
  const std::string text(reinterpret_cast<const char*>(data), size);
  file.Write(text);
  const std::optional<Graph> graph = Parse(text);
  std::shared_ptr<ox::ComputeGraph> computeGraph;
  Require(ox::GraphUtils::LoadOXGraph(file.Path().c_str(), computeGraph) == graph.has_value(),
          "both readers take the same texts");
  if (graph.has_value()) {
    Convert(*graph);
  }
  Load(text, file.Path(), graph);
  Ormo::Fuzz::CleanPlatform(atRest);
  return 0;
}
