// A process that runs models on two devices as it is told. Standard input: "run D", "release D".
// Standard output: "waiting D" when another process holds the device, "refused D" when the kernel
// sees a deadlock in the wait, "running D" in the middle of the run, which then waits for its
// release, and "done D STATUS".
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <string>
#include <thread>
#include <utility>

#include "ormo/ormo_runner.h"
#include "ormo_host/control.h"
#include "support/graph_text.h"

namespace {

constexpr size_t DEVICES = 2;

// One write for each line: several threads report.
void Report(const std::string& event, const std::string& device) {
  const std::string line = event + " " + device + "\n";
  if (write(STDOUT_FILENO, line.data(), line.size()) < 0) {
    std::_Exit(1);
  }
}

// The device whose worker the calling thread is: the last character of its name.
std::string CurrentDevice() {
  std::array<char, 16> name = {};
  pthread_getname_np(pthread_self(), name.data(), name.size());
  return std::string(name.data()).substr(7);
}

// Whether the calling worker's next wait and its refusal are news: refused, it tries again and
// again.
thread_local bool isWaitNew = true;
thread_local bool isRefusalNew = true;

int WaitForLock(int fd, const struct flock* lock) {
  struct flock attempt = *lock;
  if (syscall(SYS_fcntl, fd, F_SETLK, &attempt) == 0) {
    isWaitNew = isRefusalNew = true;
    return 0;
  }
  if (std::exchange(isWaitNew, false)) {
    Report("waiting", CurrentDevice());
  }
  if (syscall(SYS_fcntl, fd, F_SETLKW, lock) == 0) {
    isWaitNew = isRefusalNew = true;
    return 0;
  }
  const int error = errno;
  if (error == EDEADLK && std::exchange(isRefusalNew, false)) {
    Report("refused", CurrentDevice());
  }
  errno = error;
  return -1;
}

// Leaves the worker of `device` alone free while `action` runs.
void WithOthersBusy(uint32_t device, const std::function<void()>& action) {
  std::promise<void> isBusy;
  std::promise<void> isDone;
  std::thread other([&] {
    Ormo::RunnerConfig config;
    Ormo::RunnerResult result;
    Ormo::RunInfo info;
    info.deviceId = 1 - device;
    Ormo::OfflineTask task = [&](auto&, auto&, auto&, auto) {
      isBusy.set_value();
      isDone.get_future().wait();
      return 0;
    };
    Ormo::OrmoOfflineRunProcess(config, info, result, task);
  });
  isBusy.get_future().wait();
  action();
  isDone.set_value();
  other.join();
}

class Device {
 public:
  void Load(uint32_t device) {
    name_ = std::to_string(device);
    std::string graph = Ormo::Testing::SpinGraph({1000});
    Ormo::OrmoDataInfo image;
    image.data = graph.data();
    image.size = graph.size();
    WithOthersBusy(device, [&] { OrmoOfflineLoadFromMem(image, modelId_); });
  }

  void Run() {
    Join();
    caller_ = std::thread([this] {
      Ormo::RunnerConfig config;
      Ormo::RunnerResult result;
      const int status = OrmoOfflineRunModel(modelId_, config, result);
      Report("done", name_ + " " + std::to_string(status));
    });
  }

  // In the middle of the run, on the worker.
  void Stay() {
    Report("running", name_);
    release_.get_future().wait();
    release_ = {};
  }

  void Release() { release_.set_value(); }

  void Join() {
    if (caller_.joinable()) {
      caller_.join();
    }
  }

 private:
  std::string name_;
  uint32_t modelId_ = 0;
  std::promise<void> release_;
  std::thread caller_;
};

}  // namespace

// Stands before the system's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's are reserved
extern "C" int fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  const auto* lock = static_cast<struct flock*>(argument);
  if (command == F_SETLKW && lock->l_type == F_WRLCK) {
    return WaitForLock(fd, lock);
  }
  return static_cast<int>(syscall(SYS_fcntl, fd, command, argument));
}

int main() {
  // A test that fails leaves runs that nobody releases.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (OrmoOfflineRunnerInit({{0, 1}}) != Ormo::STATUS_SUCCESS) {
    return 1;
  }
  std::array<Device, DEVICES> devices;
  for (uint32_t device = 0; device < DEVICES; ++device) {
    devices.at(device).Load(device);
  }
  OrmoHost::OnCall("zelmdlExecute", OrmoHost::EVERY_CALL,
                   [&] { devices.at(std::stoul(CurrentDevice())).Stay(); });
  std::string command;
  size_t device = 0;
  while (std::cin >> command >> device) {
    if (command == "run") {
      devices.at(device).Run();
    } else {
      devices.at(device).Release();
    }
  }
  for (Device& used : devices) {
    used.Join();
  }
  OrmoOfflineRunnerFinalize();
  return 0;
}
