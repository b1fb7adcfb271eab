/// \file
/// What a kernel's instructions cost. docs/host-platform.md has the table for people.
#ifndef ORMO_HOST_SIMULATOR_DUX_COSTS_H
#define ORMO_HOST_SIMULATOR_DUX_COSTS_H

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace OrmoHost {

/// More cannot be counted: sums and products end here.
constexpr uint64_t MAX_TICKS = std::numeric_limits<uint64_t>::max();

uint64_t AddTicks(uint64_t left, uint64_t right);
uint64_t MultiplyTicks(uint64_t left, uint64_t right);

/// Once for each kernel, and once for each pass through a loop.
constexpr uint64_t KERNEL_START_TICKS = 100;
constexpr uint64_t LOOP_PASS_TICKS = 2;

struct InstructionCost {
  std::string_view name;
  uint64_t start;
  uint64_t perUnit;
};

/// Null when there is no such instruction.
const InstructionCost* FindInstruction(std::string_view name);

/// The names of all instructions, with commas between.
std::string KnownInstructions();

}  // namespace OrmoHost

#endif  // ORMO_HOST_SIMULATOR_DUX_COSTS_H
