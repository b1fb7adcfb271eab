#include "sim_command.h"

#include <cstdlib>

#include "command_line.h"
#include "ormo/lib_path.h"
#include "ormo/ormo_runner.h"
#include "ranking.h"
#include "report.h"
#include "sim_measuring.h"

namespace OrmoMeasure {
namespace {

constexpr char DIRECTORY_VARIABLE[] = "PELTV2";
constexpr char SOC_VERSION_VARIABLE[] = "PELT_SOC_VERSION";
// The chip that can be simulated.
constexpr char DEFAULT_SOC_VERSION[] = "TarnLake1";

// The command runs before any thread is started.
// NOLINTBEGIN(concurrency-mt-unsafe)

// What the user has set stands.
void SetDefaults() {
  setenv(SOC_VERSION_VARIABLE, DEFAULT_SOC_VERSION, 0);
#ifdef ORMO_MEASURE_SIMULATOR
  const Ormo::TPath simulator = Ormo::LibPath::GetSelfLibraryDir() + ORMO_MEASURE_SIMULATOR;
  setenv(DIRECTORY_VARIABLE, simulator.GetCString(), 0);
#endif
}

std::string SimulatorDirectory() {
  const char* directory = getenv(DIRECTORY_VARIABLE);
  return directory == nullptr ? "" : directory;
}

// NOLINTEND(concurrency-mt-unsafe)

}  // namespace

int RunSim(const SimOptions& options) {
  SetDefaults();
  SimReport report{options, OrmoGetSocVersion(), SimulatorDirectory(), SimulateGraphs(options)};
  Rank(report.ranking);
  Print(report);
  return HasFailure(report.ranking) ? EXIT_CANDIDATE_FAILED : EXIT_ALL_MEASURED;
}

}  // namespace OrmoMeasure
