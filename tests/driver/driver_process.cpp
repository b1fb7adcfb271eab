#include "driver/driver_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

#include "support/temp_directory.h"

namespace Ormo::Testing {
namespace {

/// Pointers as exec wants them, valid as long as the texts.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

/// The test's environment after `additions`: of two values the first counts.
std::vector<std::string> Environment(std::vector<std::string> additions) {
  for (char** variable = environ; *variable != nullptr; ++variable) {
    additions.emplace_back(*variable);
  }
  return additions;
}

int Spawn(std::vector<std::string> arguments, std::vector<std::string> environment,
          const std::string& outputPath, const std::string& errorPath) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  constexpr int WRITE = O_WRONLY | O_CREAT;
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, outputPath.c_str(), WRITE, 0600);
  posix_spawn_file_actions_addopen(&files, STDERR_FILENO, errorPath.c_str(), WRITE, 0600);
  pid_t pid = 0;
  const int failure = posix_spawn(&pid, ORMO_MEASURE_PATH, &files, nullptr,
                                  Pointers(arguments).data(), Pointers(environment).data());
  posix_spawn_file_actions_destroy(&files);
  int status = 0;
  if (failure != 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) {
    return -1;
  }
  return WEXITSTATUS(status);
}

}  // namespace

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
  std::vector<std::string> command = {"ormo-measure"};
  command.insert(command.end(), arguments.begin(), arguments.end());
  DriverRun run;
  run.exitStatus = Spawn(command, Environment(environment), output, errors);
  run.output = outputPath.empty() ? ReadFile(output) : "";
  run.errors = ReadFile(errors);
  return run;
}

}  // namespace Ormo::Testing
