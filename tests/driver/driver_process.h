/// \file
/// The driver as its users run it: a process with arguments, an environment and output.
#ifndef ORMO_TESTS_DRIVER_DRIVER_PROCESS_H
#define ORMO_TESTS_DRIVER_DRIVER_PROCESS_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace Ormo::Testing {

struct DriverRun {
  int exitStatus = -1;  ///< -1 when the process did not exit by itself
  std::string output;
  std::string errors;

  /// The output as JSON; discarded when it is none.
  nlohmann::json Json() const;
  /// The lines of the output.
  std::vector<std::string> Lines() const;
};

/// Runs the driver to its end. `environment` holds "NAME=value" and adds to the test's own;
/// standard output goes to `outputPath`, or into the result when that is empty.
DriverRun RunDriver(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment = {},
                    const std::string& outputPath = {});

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_DRIVER_DRIVER_PROCESS_H
