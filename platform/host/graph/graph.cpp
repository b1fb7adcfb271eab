#include "graph/graph.h"

#include <algorithm>
#include <variant>

namespace OrmoHost {
namespace {

std::string ErrorText(const std::string& node, const std::string& key,
                      const std::string& expected) {
  std::string place = node.empty() ? "" : "node \"" + node + "\"";
  if (!key.empty()) {
    place += (place.empty() ? "" : ", ") + std::string("key \"") + key + "\"";
  }
  return place + (place.empty() ? "" : ": ") + "expected " + expected;
}

int64_t Product(int64_t left, int64_t right, const std::string& node) {
  int64_t product = 0;
  if (__builtin_mul_overflow(left, right, &product)) {
    throw GraphError(node, "outputs", "fewer elements");
  }
  return product;
}

}  // namespace

GraphError::GraphError(const std::string& node, const std::string& key, const std::string& expected)
    : std::runtime_error(ErrorText(node, key, expected)) {}

size_t ElementSize(ox::DataType dataType) {
  switch (dataType) {
    case ox::DT_INT8:
    case ox::DT_UINT8:
    case ox::DT_BOOL:
      return 1;
    case ox::DT_FLOAT16:
      return 2;
    case ox::DT_FLOAT:
    case ox::DT_INT32:
      return 4;
    case ox::DT_INT64:
    case ox::DT_DOUBLE:
      return 8;
    default:
      return 0;
  }
}

size_t CountElements(const Shape& shape, const std::string& node) {
  int64_t count = 1;
  for (int64_t dim : shape) {
    count = Product(count, dim, node);
  }
  return static_cast<size_t>(count);
}

size_t CountBytes(const TensorSpec& spec, const std::string& node) {
  auto count = static_cast<int64_t>(CountElements(spec.shape, node));
  return static_cast<size_t>(
      Product(count, static_cast<int64_t>(ElementSize(spec.dataType)), node));
}

bool HasUnknownDim(const Shape& shape) {
  return std::find(shape.begin(), shape.end(), UNKNOWN_DIM) != shape.end();
}

std::string ToText(const Shape& shape) {
  std::string text = "[";
  for (size_t i = 0; i < shape.size(); ++i) {
    text += (i == 0 ? "" : ", ") + std::to_string(shape[i]);
  }
  return text + "]";
}

bool GetFlag(const GraphNode& node, const std::string& key) {
  auto found = node.attrs.find(key);
  if (found == node.attrs.end()) {
    return false;
  }
  if (const bool* flag = std::get_if<bool>(&found->second)) {
    return *flag;
  }
  throw GraphError(node.name, key, "true or false");
}

int64_t GetInt(const GraphNode& node, const std::string& key, int64_t absent) {
  auto found = node.attrs.find(key);
  if (found == node.attrs.end()) {
    return absent;
  }
  const int64_t* number = std::get_if<int64_t>(&found->second);
  if (number == nullptr || *number < 0) {
    throw GraphError(node.name, key, "an integer from 0");
  }
  return *number;
}

double GetNumber(const GraphNode& node, const std::string& key, double absent) {
  auto found = node.attrs.find(key);
  if (found == node.attrs.end()) {
    return absent;
  }
  if (const int64_t* integer = std::get_if<int64_t>(&found->second)) {
    return static_cast<double>(*integer);
  }
  if (const double* number = std::get_if<double>(&found->second)) {
    return *number;
  }
  throw GraphError(node.name, key, "a number");
}

}  // namespace OrmoHost
