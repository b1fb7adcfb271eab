// A process that ends while it measures on device 0. Arguments: graph file, PATH, STATE, WAY.
// Standard output: "caller I STATUS" for each call that came back, what the WAY has to tell, and
// "late STATUS" and "late init STATUS" of calls made after the runners are gone.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "ormo/ormo_runner.h"
#include "ormo/ormo_runner_detail.h"
#include "ormo/trace.h"
#include "ormo_host/control.h"
#include "ox/graph_utils.h"
#include "ox/session.h"
#include "single_op/request_text.h"
#include "support/thread_state.h"

namespace {

constexpr int EXIT_CODE = 7;
constexpr int CHILD_CODE = 9;

class Event {
 public:
  void Set() { sem_post(&semaphore_); }

  void Await() {
    while (sem_wait(&semaphore_) != 0) {
    }
  }

 private:
  sem_t semaphore_ = {};
};

bool isForked = false;
Event lockIsAwaited;
Event isExecuting;
Event mayGoOn;

// One write for each line: several threads report.
void Report(const std::string& event, int status) {
  const std::string line = event + " " + std::to_string(status) + "\n";
  if (write(STDOUT_FILENO, line.data(), line.size()) < 0) {
    std::_Exit(1);
  }
}

[[noreturn]] void Exit(int code) {
  std::exit(code);  // NOLINT(concurrency-mt-unsafe): no other thread ends the process
}

pid_t FindWorker() {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::ifstream(entry.path() / "comm") >> name;
    if (name == "OrmoRun0") {
      return std::stoi(entry.path().filename());
    }
  }
  return 0;
}

// One way of measuring: "loaded", "once", "online" or "op", and "+prof"; all but the first with
// "+detail", too.
class Path {
 public:
  Path(std::string graph, const std::string& name)
      : graph_(std::move(graph)),
        kind_(name.substr(0, name.find('+'))),
        prof_(name != kind_),
        isDetailed_(name.find("+detail") != std::string::npos) {}

  int Init(const std::vector<uint32_t>& devices) {
    if (kind_ == "online") {
      return OrmoOnlineRunnerInit({devices});
    }
    if (kind_ == "op") {
      return OrmoZelnnRunnerInit({devices});
    }
    const int status = OrmoOfflineRunnerInit({devices});
    return kind_ != "loaded" || status != 0 ? status : OrmoOfflineLoadFromFile(graph_, modelId_);
  }

  // A runner that the path does not use.
  int InitAnother(const std::vector<uint32_t>& devices) const {
    return kind_ == "op" ? OrmoOfflineRunnerInit({devices}) : OrmoZelnnRunnerInit({devices});
  }

  int Run() {
    Ormo::RunnerConfig config;
    config.prof = prof_;
    config.modelPath = graph_;
    Ormo::RunnerResult result;
    Ormo::RunRequest request;
    request.cancelToken = &token_;
    Ormo::RunDetail detail;
    if (kind_ == "once") {
      return isDetailed_ ? OrmoOfflineRunDetailed(config, request, result, detail)
                         : OrmoOfflineRun(config, result);
    }
    if (kind_ == "loaded") {
      return OrmoOfflineRunModel(modelId_, config, result);
    }
    if (kind_ == "op") {
      Ormo::ZelnnRunConfig call;
      call.opJson = Ormo::Testing::AttentionRequest();
      return isDetailed_ ? OrmoZelnnRunDetailed(call, request, result, detail)
                         : OrmoZelnnRun(call, result);
    }
    std::vector<Ormo::RunnerRunResult> results;
    std::shared_ptr<ox::ComputeGraph> graph;
    ox::GraphUtils::LoadOXGraph(graph_.c_str(), graph);
    config.session = session_;
    return isDetailed_ ? OrmoOnlineRunDetailed(ox::Graph(graph), config, request, results, detail)
                       : OrmoOnlineRun(ox::Graph(graph), config, results);
  }

  void Finalize() const {
    kind_ == "online" ? OrmoOnlineRunnerFinalize()
    : kind_ == "op"   ? OrmoZelnnRunnerFinalize()
                      : OrmoOfflineRunnerFinalize();
  }

  // A platform function in the middle of a run.
  std::string Work() const {
    return kind_ == "online" ? "Session::RunGraphAsync"
           : kind_ == "op"   ? "zelnnFlashAttentionScore"
                             : "zelmdlExecute";
  }

 private:
  std::string graph_;
  std::string kind_;
  bool prof_;
  bool isDetailed_;
  Ormo::CancelToken token_;
  uint32_t modelId_ = 0;
  ox::Session* session_ = new ox::Session();  // for good: its engine is not in a forked child
};

class Caller {
 public:
  Caller(Path& path, int number)
      : thread_([this, &path, number] {
          id_ = gettid();
          started_.Set();
          Report("caller " + std::to_string(number), path.Run());
          mayGoOn.Set();
        }) {
    started_.Await();
  }

  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  ~Caller() {
    if (thread_.joinable()) {
      thread_.detach();
    }
  }

  void AwaitSleep() const { Ormo::Testing::AwaitSleep(id_); }

  // Has the program's handler run on the thread.
  void Signal(int signal) { pthread_kill(thread_.native_handle(), signal); }

  void Join() {
    if (thread_.get_id() != std::this_thread::get_id()) {
      thread_.join();
    }
  }

 private:
  Event started_;
  pid_t id_ = 0;
  std::thread thread_;
};

// Made before anything of the library, and so destroyed after it.
class Process {
 public:
  Process(const std::string& graph, const std::string& path, std::string way)
      : path_(graph, path), way_(std::move(way)) {}

  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  ~Process() {
    if (!isForked) {
      Join();
#ifndef __SANITIZE_ADDRESS__  // which comes with a check that runners still exist
      path_.Finalize();
      Report("late", path_.Run());
      Report("late init", path_.Init({0}));
#endif
    }
  }

  bool Init() {
    // Nothing may go on while a process is forked, and it must be known whose worker ends one.
    const bool isAlone = way_ == "fork" || way_ == "worker";
    const auto devices = isAlone ? std::vector<uint32_t>{0} : std::vector<uint32_t>{0, 0};
    // A runner whose workers another one started goes before them.
    return (way_ != "exit" || path_.InitAnother(devices) == 0) && path_.Init(devices) == 0;
  }

  void Reach(const std::string& state) {
    state_ = state;
    if (state == "idle") {
      Report("first", path_.Run());
    } else if (state == "busy") {
      OrmoHost::OnCall(path_.Work(), 1, [this] { Stay(2); });
      Call(isExecuting);
    } else if (state == "waiting") {
      Call(lockIsAwaited);
    } else {
      OrmoHost::OnCall(path_.Work(), 1, [this] { Stay(1); });
      // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
      unsetenv("ORMO_PROF_END");
      callers_[0] = std::make_unique<Caller>(path_, 0);
      isExecuting.Await();
      // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
      setenv("ORMO_PROF_END", "close", 1);
      mayGoOn.Set();
      // A run that gets the device comes after the first one's records.
      Report("second", path_.Run());
    }
  }

  void End() {
    if (way_ == "exit") {
      Exit(EXIT_CODE);
    } else if (way_ == "signal" || way_ == "worker") {
      Kill();
    } else if (way_ == "finalize") {
      path_.Finalize();
      Join();
      OrmoHost::AliveObjects alive = OrmoHost::Alive();
      alive.abandoned = alive.sessions = 0;
      Report("alive " + alive.ToString(), 0);
      const int status = Init() ? path_.Run() : -1;
      Report("again", status);
    } else if (way_ == "fork") {
      Fork(false);
      Fork(true);
      mayGoOn.Set();
      mayGoOn.Set();
      Join();
      Report("parent", path_.Run());
    }
  }

 private:
  // One call that comes as far as `event`, and two more that wait.
  void Call(Event& event) {
    for (size_t i = 0; i < callers_.size(); ++i) {
      callers_[i] = std::make_unique<Caller>(path_, static_cast<int>(i));
      if (i == 0) {
        event.Await();
      }
      callers_[i]->AwaitSleep();
    }
  }

  // In the middle of a run, on the worker, until that many others have come back.
  void Stay(int others) {
    isExecuting.Set();
    const bool isOneLess = way_ == "worker" || (way_ == "signal" && others > 1);
    for (int i = isOneLess ? 1 : 0; i < others; ++i) {
      mayGoOn.Await();
    }
    if (way_ == "worker") {
      Exit(EXIT_CODE);
    }
  }

  void Kill() {
    signal(SIGTERM, [](int) { Exit(EXIT_CODE); });
    if (way_ == "worker" && state_ == "busy") {
      mayGoOn.Set();
    } else if (way_ == "worker") {
      tgkill(getpid(), FindWorker(), SIGTERM);
    } else {
      Caller* last = callers_[2] != nullptr ? callers_[2].get() : callers_[0].get();
      last != nullptr ? last->Signal(SIGTERM) : static_cast<void>(raise(SIGTERM));
    }
    for (;;) {
      pause();
    }
  }

  void Fork(bool calls) {
    const pid_t child = fork();
    if (child == 0) {
      isForked = true;
      if (calls) {
        Report("child init", path_.Init({0}));
        Report("child run", path_.Run());
        path_.Finalize();
      }
      Exit(CHILD_CODE);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Report("child", WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
  }

  void Join() {
    for (std::unique_ptr<Caller>& caller : callers_) {
      // The first one waits for the worker that ends the process.
      if (caller != nullptr && (way_ != "worker" || caller != callers_[0])) {
        caller->Join();
      }
    }
    callers_ = {};
  }

  Path path_;
  const std::string way_;
  std::string state_;
  std::array<std::unique_ptr<Caller>, 3> callers_;
};

}  // namespace

// What a cancelled thread leaves marked on its stack is in the way of the sanitizer's own code at
// the thread's end.
const char* AddressSanitizerOptions() asm("__asan_default_options");

const char* AddressSanitizerOptions() {
  return "use_sigaltstack=0";
}

// What the threads of the parent hold looks lost in a forked child.
int IsLeakSanitizerOff() asm("__lsan_is_turned_off");

int IsLeakSanitizerOff() {
  return isForked ? 1 : 0;
}

// Stands before the system's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's are reserved
extern "C" int fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  if (command == F_SETLKW && static_cast<struct flock*>(argument)->l_type == F_WRLCK) {
    lockIsAwaited.Set();
  }
  static const auto next = reinterpret_cast<int (*)(int, int, ...)>(dlsym(RTLD_NEXT, "fcntl"));
  return next(fd, command, argument);
}

int main(int /*argc*/, char** argv) {
  // A test that fails leaves a process that does not end.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  static Process process(argv[1], argv[2], argv[4]);
  if (argv[5] != nullptr) {
    Ormo::Trace::StartDumpTraceToPath(argv[5]);
  }
  if (!process.Init()) {
    return 1;
  }
  process.Reach(argv[3]);
  process.End();
  return EXIT_CODE;
}
