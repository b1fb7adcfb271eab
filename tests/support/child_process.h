/// \file
/// A program that a test talks to.
#ifndef ORMO_TESTS_SUPPORT_CHILD_PROCESS_H
#define ORMO_TESTS_SUPPORT_CHILD_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace Ormo::Testing {

/// A program started with pipes in place of its standard input and output. Events are lines: the
/// test reads what the program reports and writes what it is to do. One thread at a time.
class ChildProcess {
 public:
  /// Starts `arguments[0]` in the environment of this process. Throws when that fails.
  explicit ChildProcess(const std::vector<std::string>& arguments);
  /// Kills and reaps it if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void Send(const std::string& line);

  /// The next line that the program writes; waits for it. Empty at the end of its output.
  std::string ReadLine();

  /// Waits until one of two programs has written something, or ended, and returns it.
  static ChildProcess& AwaitOutput(ChildProcess& one, ChildProcess& other);

  void Signal(int signal);

  void Kill();

  /// Closes its input and waits for its end: the exit status, or minus the signal that ended it.
  int Wait();

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
};

}  // namespace Ormo::Testing

#endif  // ORMO_TESTS_SUPPORT_CHILD_PROCESS_H
