#include "simulator/dux_costs.h"

#include <algorithm>
#include <array>

namespace OrmoHost {
namespace {

constexpr std::array<InstructionCost, 5> INSTRUCTIONS = {{
    {"scalar", 0, 1},
    {"vector", 4, 1},
    {"cube", 16, 2},
    {"load", 40, 1},
    {"store", 30, 1},
}};

}  // namespace

uint64_t AddTicks(uint64_t left, uint64_t right) {
  uint64_t sum = 0;
  return __builtin_add_overflow(left, right, &sum) ? MAX_TICKS : sum;
}

uint64_t MultiplyTicks(uint64_t left, uint64_t right) {
  uint64_t product = 0;
  return __builtin_mul_overflow(left, right, &product) ? MAX_TICKS : product;
}

const InstructionCost* FindInstruction(std::string_view name) {
  const auto* found =
      std::find_if(INSTRUCTIONS.begin(), INSTRUCTIONS.end(),
                   [&](const InstructionCost& instruction) { return instruction.name == name; });
  return found == INSTRUCTIONS.end() ? nullptr : found;
}

std::string KnownInstructions() {
  std::string names;
  for (const InstructionCost& instruction : INSTRUCTIONS) {
    names += (names.empty() ? "" : ", ") + std::string(instruction.name);
  }
  return names;
}

}  // namespace OrmoHost
