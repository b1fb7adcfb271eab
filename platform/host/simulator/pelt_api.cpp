// The simulator's functions, as they are loaded at run time.
#include <type_traits>

#include "error_manager/error_manager.h"
#include "pelt/pelt.h"
#include "services/file_reader.h"
#include "simulator/dux_parser.h"

namespace OrmoHost {
namespace {

// Code of the error manager's messages about kernels.
constexpr char KERNEL_REFUSED[] = "EH0010";
constexpr char CORE_NAME[] = "tarn_lake_core";
constexpr size_t MAX_DUX_FILE_SIZE = 1U << 20U;

// One kernel after its simulation.
struct Core {
  uint64_t ticks;
};

uint64_t CountTicks(const std::string& file, const std::string& function, const std::string& core) {
  if (core != CORE_NAME) {
    throw DuxError("expected the core " + std::string(CORE_NAME));
  }
  const std::string text = ReadFile(file, MAX_DUX_FILE_SIZE, [](const std::string& expected) {
    throw DuxError("expected " + expected);
  });
  const KernelTicks kernels = DuxParser().Parse(text);
  const auto found = kernels.find(function);
  if (found == kernels.end()) {
    throw DuxError("expected a kernel of the name " + function);
  }
  return found->second;
}

}  // namespace
}  // namespace OrmoHost

// The values are the interface's.
// NOLINTBEGIN(performance-unnecessary-value-param)
extern "C" {

void PeltInit(std::string /*interpreter*/) {}

void* CreatePeltCore(std::string file, std::string function, std::vector<uint64_t> /*arguments*/,
                     std::string core,
                     std::vector<std::tuple<uint64_t, std::string, uint64_t>> /*data*/) {
  try {
    return new OrmoHost::Core{OrmoHost::CountTicks(file, function, core)};
  } catch (const OrmoHost::DuxError& error) {
    ErrorManager::GetInstance().ReportErrMessage(OrmoHost::KERNEL_REFUSED,
                                                 {{"reason", file + ": " + error.what()}});
    return nullptr;
  }
}

uint64_t GetTotalTick(void* core) {
  return static_cast<OrmoHost::Core*>(core)->ticks;
}

void DestroyPeltCore(void* core) {
  delete static_cast<OrmoHost::Core*>(core);
}

}  // extern "C"
// NOLINTEND(performance-unnecessary-value-param)

// Nobody else holds these functions against their types.
static_assert(std::is_same_v<decltype(&PeltInit), PeltInitFunc>);
static_assert(std::is_same_v<decltype(&CreatePeltCore), CreatePeltCoreFunc>);
static_assert(std::is_same_v<decltype(&GetTotalTick), GetTotalTickFunc>);
static_assert(std::is_same_v<decltype(&DestroyPeltCore), DestroyPeltCoreFunc>);
