// Reads any text as a kernel file of the host platform's simulator, and simulates what it
// describes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "error_manager/error_manager.h"
#include "pelt/pelt.h"
#include "simulator/dux_costs.h"
#include "simulator/dux_parser.h"
#include "support.h"

extern "C" {
void* CreatePeltCore(std::string file, std::string function, std::vector<uint64_t> arguments,
                     std::string core,
                     std::vector<std::tuple<uint64_t, std::string, uint64_t>> data);
uint64_t GetTotalTick(void* core);
void DestroyPeltCore(void* core);
}

namespace {

using Ormo::Fuzz::Require;
using OrmoHost::KernelTicks;

constexpr char CORE[] = "tarn_lake_core";

// Nothing when the text is refused.
std::optional<KernelTicks> Parse(std::string_view text) {
  try {
    return OrmoHost::DuxParser().Parse(text);
  } catch (const OrmoHost::DuxError&) {
    return std::nullopt;
  }
}

// The same to a person: other line ends, indentation, and a comment behind each line.
std::string Rewrite(std::string_view text) {
  std::string rewritten = "# first\r\n\t";
  for (const char c : text) {
    rewritten += c == '\n' ? std::string(" # kernel end\r\n\n\t") : std::string(1, c);
  }
  return rewritten;
}

void Simulate(const std::string& path, const std::string& kernel, std::optional<uint64_t> ticks) {
  void* core = CreatePeltCore(path, kernel, {}, CORE, {});
  Require((core != nullptr) == ticks.has_value(), "a kernel can be simulated if it can be read");
  if (core != nullptr) {
    Require(GetTotalTick(core) == *ticks, "the simulator counts what the reader counts");
    DestroyPeltCore(core);
  }
}

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzing library's
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Ormo::Fuzz::MemoryFile file;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::optional<KernelTicks> kernels = Parse(text);
  Require(Parse(Rewrite(text)) == kernels, "blanks and comments count for nothing");
  file.Write(text);
  if (!kernels.has_value() || kernels->empty()) {
    Simulate(file.Path(), "kernel", std::nullopt);
  } else {
    Simulate(file.Path(), kernels->begin()->first, kernels->begin()->second);
    Require(std::all_of(
                kernels->begin(), kernels->end(),
                [](const auto& kernel) { return kernel.second >= OrmoHost::KERNEL_START_TICKS; }),
            "sums do not wrap");
  }
  ErrorManager::GetInstance().GetErrorMessage();
  return 0;
}
