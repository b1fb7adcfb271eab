#include "support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace Ormo::Testing {

ChildProcess::ChildProcess(const std::vector<std::string>& arguments) {
  int toChild[2] = {};  // the read end stands first
  int fromChild[2] = {};
  if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, toChild[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fromChild[1], STDOUT_FILENO);
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));
  }
  argv.push_back(nullptr);
  const int error = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(toChild[0]);
  close(fromChild[1]);
  input_ = toChild[1];
  output_ = fromChild[0];
  if (error != 0) {
    close(input_);
    close(output_);
    throw std::runtime_error("cannot start " + arguments[0]);
  }
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) {
    Kill();
    Wait();
  }
  close(output_);
}

void ChildProcess::Send(const std::string& line) {
  const std::string text = line + "\n";
  if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::runtime_error("the program does not listen");
  }
}

std::string ChildProcess::ReadLine() {
  std::string line;
  char next = 0;
  while (read(output_, &next, 1) == 1 && next != '\n') {
    line += next;
  }
  return line;
}

ChildProcess& ChildProcess::AwaitOutput(ChildProcess& one, ChildProcess& other) {
  pollfd outputs[] = {{one.output_, POLLIN, 0}, {other.output_, POLLIN, 0}};
  poll(outputs, 2, -1);
  return outputs[0].revents != 0 ? one : other;
}

void ChildProcess::Signal(int signal) {
  kill(pid_, signal);
}

void ChildProcess::Kill() {
  Signal(SIGKILL);
}

int ChildProcess::Wait() {
  close(input_);
  int status = 0;
  waitpid(std::exchange(pid_, -1), &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace Ormo::Testing
