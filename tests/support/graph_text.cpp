#include "support/graph_text.h"

namespace Ormo::Testing {
namespace {

std::string Node(const std::string& name, const std::string& type, const std::string& inputs,
                 size_t elements, const std::string& attrs) {
  return R"({"name": ")" + name + R"(", "type": ")" + type + R"(", "inputs": [)" + inputs +
         R"(], "outputs": [{"shape": [)" + std::to_string(elements) +
         R"(], "dtype": "float32"}], "attrs": {)" + attrs + "}}";
}

std::string Quote(const std::string& text) {
  return "\"" + text + "\"";
}

std::string Graph(const std::string& nodes) {
  return R"({"format": "ox-graph", "version": 1, "name": "test", "nodes": [)" + nodes + "]}";
}

}  // namespace

std::string SpinGraph(const std::vector<uint64_t>& nanoseconds) {
  std::string nodes = Node("data", "Data", "", 1, "");
  std::string previous = "data";
  for (size_t index = 0; index < nanoseconds.size(); ++index) {
    const std::string name = "spin" + std::to_string(index);
    nodes += ", " + Node(name, "Spin", Quote(previous), 1,
                         "\"ns\": " + std::to_string(nanoseconds[index]));
    previous = name;
  }
  return Graph(nodes);
}

std::string AddGraph(size_t elements, double addend, size_t count) {
  std::string nodes = Node("data", "Data", "", elements, "") + ", " +
                      Node("addend", "Const", "", elements, "\"fill\": " + std::to_string(addend));
  std::string previous = "data";
  for (size_t index = 0; index < count; ++index) {
    const std::string name = "add" + std::to_string(index);
    nodes += ", " + Node(name, "Add", Quote(previous) + ", \"addend\"", elements, "");
    previous = name;
  }
  return Graph(nodes);
}

}  // namespace Ormo::Testing
