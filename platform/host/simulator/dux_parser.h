/// \file
/// From the text of a kernel file to ticks. docs/host-platform.md describes the language.
#ifndef ORMO_HOST_SIMULATOR_DUX_PARSER_H
#define ORMO_HOST_SIMULATOR_DUX_PARSER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace OrmoHost {

constexpr size_t MAX_LOOP_DEPTH = 64;

/// Why there is no kernel: what was expected, and where.
class DuxError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What each kernel takes, by name.
using KernelTicks = std::map<std::string, uint64_t, std::less<>>;

/// Reads a text line by line and counts on the way: a loop multiplies what stands in it, and
/// nothing is executed. Time and memory follow the length of the text alone.
class DuxParser {
 public:
  /// Throws a DuxError with the line when the text breaks a rule. Call it once.
  KernelTicks Parse(std::string_view text);

 private:
  using Words = std::vector<std::string_view>;

  /// A kernel or loop that has not ended yet.
  struct Block {
    uint64_t passes;
    uint64_t ticks;  ///< of one pass so far
  };

  [[noreturn]] void Refuse(const std::string& expected) const;
  void Require(bool condition, const char* expected) const;
  uint64_t ReadCount(const Words& words) const;
  void ReadStatement(const Words& words);
  void OpenKernel(const Words& words);
  void OpenLoop(const Words& words);
  void AddInstruction(const Words& words);
  void CloseBlock();

  size_t line_ = 0;
  bool hasHeader_ = false;
  std::string kernel_;         ///< the one that is being read
  std::vector<Block> blocks_;  ///< the kernel, and the loops that are open in it
  KernelTicks kernels_;
};

}  // namespace OrmoHost

#endif  // ORMO_HOST_SIMULATOR_DUX_PARSER_H
