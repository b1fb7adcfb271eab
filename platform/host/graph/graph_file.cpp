#include "graph/graph_file.h"

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "services/file_reader.h"

namespace OrmoHost {
namespace {

using Json = nlohmann::json;

constexpr int VERSION = 1;
constexpr int MAX_DEPTH = 32;  // more than any graph has

constexpr std::pair<const char*, ox::DataType> DATA_TYPES[] = {
    {"float32", ox::DT_FLOAT}, {"float16", ox::DT_FLOAT16}, {"float64", ox::DT_DOUBLE},
    {"int8", ox::DT_INT8},     {"int32", ox::DT_INT32},     {"int64", ox::DT_INT64},
    {"uint8", ox::DT_UINT8},   {"bool", ox::DT_BOOL}};
constexpr std::pair<const char*, ox::Format> FORMATS[] = {
    {"ND", ox::FORMAT_ND}, {"NCHW", ox::FORMAT_NCHW}, {"NHWC", ox::FORMAT_NHWC}};
constexpr std::pair<const char*, DynamicKind> DYNAMIC_KINDS[] = {
    {"batch", DynamicKind::BATCH}, {"image", DynamicKind::IMAGE}, {"dims", DynamicKind::DIMS}};

// Nothing when the value is no integer, or one that would wrap around.
std::optional<int64_t> GetInteger(const Json& value) {
  constexpr uint64_t LARGEST = std::numeric_limits<int64_t>::max();
  bool isTooLarge = value.is_number_unsigned() && value.get<uint64_t>() > LARGEST;
  return value.is_number_integer() && !isTooLarge ? std::optional(value.get<int64_t>())
                                                  : std::nullopt;
}

void RequireObject(const Json& value, const std::string& node) {
  if (!value.is_object()) {
    throw GraphError(node, "", "an object");
  }
}

// A JSON object of the file: gives its values by key and complains in terms of its node.
class Reader {
 public:
  Reader(const Json& object, std::string node) : object_(object), node_(std::move(node)) {
    RequireObject(object_, node_);
  }

  [[noreturn]] void Refuse(const std::string& key, const std::string& expected) const {
    throw GraphError(node_, key, expected);
  }

  void AllowOnly(std::initializer_list<const char*> keys) const {
    for (const auto& item : object_.items()) {
      if (std::find(keys.begin(), keys.end(), item.key()) == keys.end()) {
        Refuse(item.key(), "no such key");
      }
    }
  }

  bool Has(const char* key) const { return object_.contains(key); }

  const Json& Get(const char* key, const char* expected) const {
    if (!Has(key)) {
      Refuse(key, expected);
    }
    return object_[key];
  }

  const Json& GetArray(const char* key, const char* expected) const {
    const Json& value = Get(key, expected);
    if (!value.is_array()) {
      Refuse(key, expected);
    }
    return value;
  }

  std::string GetText(const char* key) const {
    const Json& value = Get(key, "a text");
    if (!value.is_string() || value.get_ref<const std::string&>().empty() ||
        value.get_ref<const std::string&>().size() > MAX_NAME_LENGTH) {
      Refuse(key, "a text of 1 to 255 bytes");
    }
    return value.get<std::string>();
  }

  // The value that the text stands for.
  template <typename Value, size_t N>
  Value GetNamed(const char* key, const std::pair<const char*, Value> (&names)[N]) const {
    std::string text = GetText(key);
    std::string known;
    for (const auto& [name, value] : names) {
      if (text == name) {
        return value;
      }
      known += (known.empty() ? "" : ", ") + std::string(name);
    }
    Refuse(key, "one of " + known);
  }

  // A list of integers, each at least `smallest` and not 0.
  std::vector<int64_t> GetDims(const Json& list, const char* key, int64_t smallest,
                               const char* expected) const {
    std::vector<int64_t> dims;
    for (const Json& dim : list) {
      int64_t value = GetInteger(dim).value_or(0);
      if (value < smallest || value == 0) {
        Refuse(key, expected);
      }
      dims.push_back(value);
    }
    return dims;
  }

 private:
  const Json& object_;
  std::string node_;
};

AttrValue ReadAttr(const Json& value, const std::string& node, const std::string& key) {
  if (value.is_boolean()) {
    return value.get<bool>();
  }
  if (value.is_number_integer()) {
    if (std::optional<int64_t> integer = GetInteger(value)) {
      return *integer;
    }
    throw GraphError(node, key, "an integer up to 9223372036854775807");
  }
  if (value.is_number()) {
    return value.get<double>();
  }
  if (value.is_string()) {
    return value.get<std::string>();
  }
  bool isNumbers =
      value.is_array() &&
      std::all_of(value.begin(), value.end(), [](const Json& item) { return item.is_number(); });
  if (!isNumbers) {
    throw GraphError(node, key, "a number, a text, true, false or a list of numbers");
  }
  return value.get<std::vector<double>>();
}

TensorSpec ReadOutput(const Reader& node, const std::string& name) {
  const char* expected = "a list of one output";
  const Json& outputs = node.GetArray("outputs", expected);
  if (outputs.size() != 1) {
    node.Refuse("outputs", expected);
  }
  Reader output(outputs[0], name);
  output.AllowOnly({"shape", "dtype", "format"});
  const char* expectedShape = "a list of dimensions, each positive or -1";
  const Json& shape = output.GetArray("shape", expectedShape);
  if (shape.empty()) {
    output.Refuse("shape", expectedShape);
  }
  TensorSpec spec;
  spec.shape = output.GetDims(shape, "shape", UNKNOWN_DIM, expectedShape);
  spec.dataType = output.GetNamed("dtype", DATA_TYPES);
  if (output.Has("format")) {
    spec.format = output.GetNamed("format", FORMATS);
  }
  return spec;
}

GraphNode ReadNode(const Json& object, const std::map<std::string, size_t>& known) {
  Reader anonymous(object, "");
  GraphNode node;
  node.name = anonymous.GetText("name");
  Reader reader(object, node.name);
  reader.AllowOnly({"name", "type", "inputs", "outputs", "attrs"});
  if (known.count(node.name) != 0) {
    reader.Refuse("name", "a name that no other node has");
  }
  node.type = reader.GetText("type");
  if (reader.Has("inputs")) {
    for (const Json& input : reader.GetArray("inputs", "a list of node names")) {
      auto found = input.is_string() ? known.find(input.get<std::string>()) : known.end();
      if (found == known.end()) {
        reader.Refuse("inputs", "names of nodes that stand before this one");
      }
      node.inputs.push_back(found->second);
    }
  }
  node.output = ReadOutput(reader, node.name);
  if (reader.Has("attrs")) {
    const Json& attrs = reader.Get("attrs", "an object");
    RequireObject(attrs, node.name);
    for (const auto& attr : attrs.items()) {
      node.attrs.emplace(attr.key(), ReadAttr(attr.value(), node.name, attr.key()));
    }
  }
  return node;
}

// Checks that the setting has a value for every unknown dimension and adds it.
void ReadDynamic(const Reader& reader, const Json& object, Graph& graph) {
  Reader dynamic(object, "");
  if (object.size() != 1) {
    reader.Refuse("dynamic", "exactly one of batch, image, dims");
  }
  std::string kind = object.begin().key();
  for (const auto& [name, value] : DYNAMIC_KINDS) {
    graph.dynamicKind = kind == name ? value : graph.dynamicKind;
  }
  if (graph.dynamicKind == DynamicKind::NONE) {
    reader.Refuse("dynamic", "exactly one of batch, image, dims");
  }
  const char* expected = "a list of settings, each of positive integers";
  const Json& settings = dynamic.GetArray(kind.c_str(), expected);
  if (settings.empty()) {
    reader.Refuse("dynamic", expected);
  }
  for (const Json& setting : settings) {
    bool isNumber = graph.dynamicKind == DynamicKind::BATCH;
    if (!isNumber && !setting.is_array()) {
      reader.Refuse("dynamic", expected);
    }
    graph.settings.push_back(
        reader.GetDims(isNumber ? Json::array({setting}) : setting, "dynamic", 1, expected));
  }
}

Graph ReadGraph(const Json& root) {
  Reader reader(root, "");
  reader.AllowOnly({"format", "version", "name", "nodes", "dynamic"});
  if (reader.Get("format", "ox-graph") != "ox-graph") {
    reader.Refuse("format", "ox-graph");
  }
  if (reader.Get("version", "1") != VERSION) {
    reader.Refuse("version", "1");
  }
  Graph graph;
  graph.name = reader.GetText("name");
  std::map<std::string, size_t> known;
  for (const Json& object : reader.GetArray("nodes", "a list of nodes")) {
    GraphNode node = ReadNode(object, known);
    known.emplace(node.name, graph.nodes.size());
    graph.nodes.push_back(std::move(node));
  }
  if (reader.Has("dynamic")) {
    ReadDynamic(reader, reader.Get("dynamic", ""), graph);
  }
  return graph;
}

// Each level of a tree takes far more memory than its bracket in the text. A pass of its own,
// which keeps nothing: with a callback that keeps values the parser's time is quadratic in a
// list's size.
void RequireBoundedDepth(std::string_view text) {
  const auto check = [](int depth, Json::parse_event_t event, const Json& /*value*/) {
    if (depth >= MAX_DEPTH && event != Json::parse_event_t::key) {
      throw GraphError("", "", "at most 32 levels of lists and objects");
    }
    return false;
  };
  [[maybe_unused]] const Json nothing = Json::parse(text.begin(), text.end(), check);
}

}  // namespace

std::string ReadGraphText(const std::string& path) {
  return ReadFile(path, MAX_GRAPH_FILE_SIZE,
                  [](const std::string& expected) { throw GraphError("", "", expected); });
}

Graph ParseGraph(std::string_view text) {
  try {
    RequireBoundedDepth(text);
    return ReadGraph(Json::parse(text.begin(), text.end()));
  } catch (const Json::exception& error) {
    throw GraphError("", "", std::string("a graph in JSON: ") + error.what());
  }
}

}  // namespace OrmoHost
