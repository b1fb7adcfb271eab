#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <variant>

#include "command_line.h"
#include "offline_command.h"
#include "online_command.h"
#include "op_command.h"
#include "ormo/ormo_runner.h"
#include "sim_command.h"

namespace OrmoMeasure {
namespace {

int Run(Done done) {
  return done.exitStatus;
}

int Run(SocQuery /*query*/) {
  const std::string soc = OrmoGetSocVersion();
  if (soc.empty()) {
    throw std::runtime_error("the chip's name is not known");
  }
  std::cout << soc << '\n';
  return EXIT_ALL_MEASURED;
}

// What the user has set stands.
void ChooseEnding() {
#ifdef ORMO_MEASURE_PROF_END
  // No thread but this one exists yet.
  setenv("ORMO_PROF_END", ORMO_MEASURE_PROF_END, 0);  // NOLINT(concurrency-mt-unsafe)
#endif
}

int Run(const OfflineOptions& options) {
  ChooseEnding();
  return RunOffline(options);
}

int Run(const OnlineOptions& options) {
  ChooseEnding();
  return RunOnline(options);
}

int Run(const OpOptions& options) {
  ChooseEnding();
  return RunOp(options);
}

int Run(const SimOptions& options) {
  return RunSim(options);
}

}  // namespace
}  // namespace OrmoMeasure

int main(int argc, char** argv) {
  try {
    return std::visit([](const auto& command) { return OrmoMeasure::Run(command); },
                      OrmoMeasure::ParseCommandLine(argc, argv));
  } catch (const std::exception& e) {
    std::cerr << "ormo-measure: " << e.what() << '\n';
    return OrmoMeasure::EXIT_CANDIDATE_FAILED;
  }
}
