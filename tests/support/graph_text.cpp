#include "support/graph_text.h"

namespace Ormo::Testing {
std::string Node(const std::string& name, const std::string& type, const std::string& inputs,
                 const std::vector<int64_t>& shape, const std::string& attrs) {
  std::string dims;
  for (int64_t dim : shape) {
    dims += (dims.empty() ? "" : ", ") + std::to_string(dim);
  }
  return R"({"name": ")" + name + R"(", "type": ")" + type + R"(", "inputs": [)" + inputs +
         R"(], "outputs": [{"shape": [)" + dims + R"(], "dtype": "float32"}], "attrs": {)" + attrs +
         "}}";
}

std::string Graph(const std::vector<std::string>& nodes, const std::string& rest) {
  std::string list;
  for (const std::string& node : nodes) {
    list += (list.empty() ? "" : ", ") + node;
  }
  return R"({"format": "ox-graph", "version": 1, "name": "test", "nodes": [)" + list + "]" +
         (rest.empty() ? "" : ", " + rest) + "}";
}

std::string AddRelu(const std::vector<int64_t>& shape, const std::string& rest) {
  return Graph({Node("x", "Data", "", shape), Node("one", "Const", "", {2}, "\"fill\": 1"),
                Node("sum", "Add", "\"x\", \"one\"", shape), Node("y", "Relu", "\"sum\"", shape)},
               rest);
}

std::string SpinGraph(const std::vector<uint64_t>& nanoseconds) {
  std::vector<std::string> nodes = {Node("data", "Data", "", {1})};
  std::string previous = "\"data\"";
  for (size_t index = 0; index < nanoseconds.size(); ++index) {
    const std::string name = "spin" + std::to_string(index);
    nodes.push_back(
        Node(name, "Spin", previous, {1}, "\"ns\": " + std::to_string(nanoseconds[index])));
    previous = "\"" + name + "\"";
  }
  return Graph(nodes);
}

std::string AddGraph(size_t elements, double addend, size_t count) {
  const std::vector<int64_t> shape = {static_cast<int64_t>(elements)};
  std::vector<std::string> nodes = {
      Node("data", "Data", "", shape),
      Node("addend", "Const", "", shape, "\"fill\": " + std::to_string(addend))};
  std::string previous = "\"data\"";
  for (size_t index = 0; index < count; ++index) {
    const std::string name = "add" + std::to_string(index);
    nodes.push_back(Node(name, "Add", previous + ", \"addend\"", shape));
    previous = "\"" + name + "\"";
  }
  return Graph(nodes);
}

}  // namespace Ormo::Testing
