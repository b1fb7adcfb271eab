/// \file
/// The driver as its users run it: a process with arguments, an environment and output.
#ifndef ORMO_TESTS_DRIVER_DRIVER_PROCESS_H
#define ORMO_TESTS_DRIVER_DRIVER_PROCESS_H

#include <nlohmann/json.hpp>

#include "support/graph_text.h"
#include "support/matchers.h"
#include "support/temp_directory.h"

namespace Ormo::Testing {

using nlohmann::json;

struct DriverRun {
  int exitStatus;  ///< -1 when the process did not exit by itself
  std::string output;
  std::string errors;

  /// The output as JSON; discarded when it is none.
  json Json() const;
  /// The lines of the output.
  std::vector<std::string> Lines() const;
};

/// Runs the driver to its end. `environment` holds "NAME=value" and adds to the test's own;
/// standard output goes to `outputPath`, or into the result when that is empty.
DriverRun RunDriver(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment = {},
                    const std::string& outputPath = {});

class DriverTest : public testing::Test {
 protected:
  /// The path of a new file in the test's directory.
  std::string File(const std::string& name, const std::string& content) const;
  /// The report in JSON of a command that ends with that status.
  static json Measure(std::vector<std::string> arguments, int exitStatus = 0,
                      const std::vector<std::string>& environment = {});

  const TempDirectory directory_;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_DRIVER_DRIVER_PROCESS_H
