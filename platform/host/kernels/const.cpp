#include <algorithm>
#include <cstdint>

#include "kernels/operators.h"

namespace OrmoHost {
namespace {

// Element `index` of a seeded Const: uniform in [-1, 1), a multiple of 2^-23.
float Generate(uint64_t seed, uint64_t index) {
  uint64_t bits = seed + (index + 1) * 0x9E3779B97F4A7C15;
  bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
  bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
  bits ^= bits >> 31;
  return static_cast<float>(bits >> 40) / 8388608.0F - 1.0F;
}

const std::vector<double>* Values(const GraphNode& node) {
  auto found = node.attrs.find("values");
  return found == node.attrs.end() ? nullptr : std::get_if<std::vector<double>>(&found->second);
}

}  // namespace

void CheckConst(const GraphNode& node) {
  const char* expected = "exactly one of values, fill, seed";
  if (node.attrs.count("values") + node.attrs.count("fill") + node.attrs.count("seed") != 1) {
    throw GraphError(node.name, "attrs", expected);
  }
  GetNumber(node, "fill", 0);
  GetInt(node, "seed", 0);
  if (node.attrs.count("values") == 0) {
    return;
  }
  size_t count = CountElements(node.output.shape, node.name);
  if (Values(node) == nullptr || Values(node)->size() != count) {
    throw GraphError(node.name, "values", "a list of " + std::to_string(count) + " numbers");
  }
}

void FillConst(const GraphNode& node, size_t count, float* elements) {
  if (const std::vector<double>* values = Values(node)) {
    std::transform(values->begin(), values->end(), elements,
                   [](double value) { return static_cast<float>(value); });
    return;
  }
  if (node.attrs.count("fill") != 0) {
    std::fill_n(elements, count, static_cast<float>(GetNumber(node, "fill", 0)));
    return;
  }
  auto seed = static_cast<uint64_t>(GetInt(node, "seed", 0));
  for (size_t i = 0; i < count; ++i) {
    elements[i] = Generate(seed, i);
  }
}

}  // namespace OrmoHost
