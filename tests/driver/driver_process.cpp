#include "driver/driver_process.h"

#include <sys/wait.h>

#include <cstdlib>
#include <sstream>

namespace Ormo::Testing {

nlohmann::json DriverRun::Json() const {
  return nlohmann::json::parse(output, nullptr, false);
}

std::vector<std::string> DriverRun::Lines() const {
  std::vector<std::string> lines;
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

DriverRun RunDriver(const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment, const std::string& outputPath) {
  const TempDirectory directory;
  const std::string output = outputPath.empty() ? directory / "output" : outputPath;
  const std::string errors = directory / "errors";
  std::string command = "exec env";
  for (const auto& [before, words] :
       {std::pair("", environment), {" '" ORMO_MEASURE_PATH "'", arguments}}) {
    command += before;
    for (const std::string& word : words) {
      command += " '" + word + "'";  // a shell takes all but quotes as they are
    }
  }
  command += " > " + output + " 2> " + errors;
  const int status = std::system(command.c_str());  // NOLINT(concurrency-mt-unsafe): one thread
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, outputPath.empty() ? ReadFile(output) : "",
          ReadFile(errors)};
}

std::string DriverTest::File(const std::string& name, const std::string& content) const {
  WriteFile(directory_ / name, content);
  return directory_ / name;
}

nlohmann::json DriverTest::Measure(std::vector<std::string> arguments, int exitStatus,
                                   const std::vector<std::string>& environment) {
  arguments.insert(arguments.begin() + 1, {"--format", "json"});
  const DriverRun run = RunDriver(arguments, environment);
  EXPECT_EQ(run.exitStatus, exitStatus) << run.output << run.errors;
  return run.Json();
}

}  // namespace Ormo::Testing
