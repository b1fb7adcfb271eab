// Attacks on exclusion and on steadiness, as long as one wants. Prints what it counted; ends with 1
// and the reason when something was wrong.
//
//   storm kills N        processes that take turns on a device, N of them killed
//   storm fair N         N runs of a process beside one that is always busy
//   storm signals N      N measurements, two processes, signals on all threads
//   storm flat N         N measurements with flat memory, descriptors and threads
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ormo/ormo_runner.h"
#include "ormo_host/control.h"
#include "ox/graph_utils.h"
#include "ox/session.h"

namespace {

constexpr char GRAPH[] = ORMO_EXAMPLES "/spin/10us.json";
constexpr char REQUEST[] = ORMO_EXAMPLES "/operators/attention-small.json";

void Require(bool holds, const char* what) {
  if (!holds) {
    std::cerr << "storm: " << what << "\n";
    std::_Exit(1);
  }
}

std::string ReadText(const char* file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

pid_t Start(std::vector<std::string> arguments, int output) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  pid_t process = -1;
  Require(posix_spawn(&process, "/proc/self/exe", &actions, nullptr, argv.data(), environ) == 0,
          "cannot start a process");
  posix_spawn_file_actions_destroy(&actions);
  return process;
}

int MeasureOffline(bool prof) {
  Ormo::RunnerConfig config;
  config.modelPath = GRAPH;
  config.prof = prof;
  Ormo::RunnerResult result;
  return OrmoOfflineRun(config, result);
}

// --- Turns

constexpr char OVERLAP = '!';

void Tell(char event) {
  Require(write(STDOUT_FILENO, &event, 1) == 1, "nobody reads");
}

// Runs for ever on a device with two callers. Tells each load, before the run waits for the device,
// as a capital letter, and each run as a small one. While it executes it holds the lock of a file
// of its own: two at once would see each other. That file's descriptor is lower than the device
// lock's, and so a process that is killed gives it up first.
int TakeTurns(char name) {
  const int marker = open("marker", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  Require(OrmoOfflineRunnerInit({{0, 0}}) == 0, "cannot initialise");
  OrmoHost::OnCall("zelmdlLoadFromFile", OrmoHost::EVERY_CALL,
                   [name] { Tell(static_cast<char>('A' + name)); });
  OrmoHost::OnCall("zelmdlExecute", OrmoHost::EVERY_CALL, [marker, name] {
    struct flock lock {};

    lock.l_type = F_WRLCK;
    const bool isAlone = fcntl(marker, F_SETLK, &lock) == 0;
    for (int i = 0; i < 20; ++i) {
      sched_yield();  // to whoever is on the device as well
    }
    Tell(isAlone ? static_cast<char>('a' + name) : OVERLAP);
    lock.l_type = F_UNLCK;
    fcntl(marker, F_SETLK, &lock);
  });
  const auto run = [] {
    for (;;) {
      Require(MeasureOffline(false) == 0, "a run failed");
    }
  };
  std::thread other(run);
  run();
  return 0;
}

// Processes that take turns, and what they tell.
class Turns {
 public:
  explicit Turns(size_t count) : processes_(count) {
    Require(pipe2(ends_.data(), O_CLOEXEC) == 0, "no pipe");
  }

  Turns(const Turns&) = delete;
  Turns& operator=(const Turns&) = delete;

  ~Turns() {
    for (const pid_t process : processes_) {
      kill(process, SIGKILL);
      waitpid(process, nullptr, 0);
    }
  }

  void StartOne(size_t index) {
    processes_[index] = Start({"storm", "turns", std::to_string(index)}, ends_[1]);
  }

  void Kill(size_t index) {
    kill(processes_[index], SIGKILL);
    int status = 0;
    Require(waitpid(processes_[index], &status, 0) == processes_[index] && WIFSIGNALED(status),
            "a process ended");
  }

  char Next() {
    char event = OVERLAP;
    Require(read(ends_[0], &event, 1) == 1 && event != OVERLAP, "two ran on one device");
    return event;
  }

  // Returns how many runs were told before.
  size_t Await(char event) {
    size_t runs = 0;
    for (char next = Next(); next != event; next = Next()) {
      runs += next >= 'a' ? 1 : 0;
    }
    return runs;
  }

 private:
  std::array<int, 2> ends_{};
  std::vector<pid_t> processes_;
};

void Kills(size_t count) {
  constexpr size_t PROCESSES = 4;
  constexpr size_t RUNS_AT_MOST = 20;
  Turns turns(PROCESSES);
  for (size_t i = 0; i < PROCESSES; ++i) {
    turns.StartOne(i);
  }
  std::minstd_rand random(1);  // NOLINT(cert-msc51-cpp): the same storm every time
  size_t runs = 0;
  for (size_t kill = 0; kill < count; ++kill) {
    const size_t wanted = runs + random() % RUNS_AT_MOST;
    while (runs < wanted) {
      runs += turns.Next() >= 'a' ? 1 : 0;
    }
    const size_t victim = random() % PROCESSES;
    turns.Kill(victim);
    turns.StartOne(victim);
  }
  std::cout << count << " kills, " << runs << " runs, no two at once\n";
}

void Fair(size_t count) {
  constexpr size_t RUNS_AT_MOST = 500;
  Turns turns(2);
  turns.StartOne(0);
  turns.Await('a');
  turns.StartOne(1);
  size_t longest = 0;
  for (size_t i = 0; i < count; ++i) {
    turns.Await('B');
    longest = std::max(longest, turns.Await('b'));
  }
  std::cout << count << " runs, each after at most " << longest << " of another process\n";
  Require(longest <= RUNS_AT_MOST, "a process was starved");
}

// --- Measurements of every path

class Measurements {
 public:
  Measurements() {
    Require(OrmoOfflineRunnerInit({{0, 1}}) == 0 && OrmoOnlineRunnerInit({{0, 1}}) == 0 &&
                OrmoZelnnRunnerInit({{0, 1}}) == 0,
            "cannot initialise");
    call_.opJson = ReadText(REQUEST);
    Require(ox::GraphUtils::LoadOXGraph(GRAPH, graph_), "no graph");
  }

  Measurements(const Measurements&) = delete;
  Measurements& operator=(const Measurements&) = delete;

  ~Measurements() {
    OrmoZelnnRunnerFinalize();
    OrmoOnlineRunnerFinalize();
    OrmoOfflineRunnerFinalize();
  }

  // `count` of them by two callers.
  void Run(size_t count) {
    std::atomic<size_t> next{0};
    const auto work = [&] {
      for (size_t i = next++; i < count; i = next++) {
        Require(Measure(i % 5) == 0, "a measurement failed");
      }
    };
    std::thread other(work);
    work();
    other.join();
  }

 private:
  int Measure(size_t path) {
    Ormo::RunnerResult result;
    uint32_t model = 0;
    switch (path) {
      case 0:
      case 1:
        return MeasureOffline(path == 0);
      case 2: {
        int status = OrmoOfflineLoadFromFile(GRAPH, model);
        Ormo::RunnerConfig config;
        status = status != 0 ? status : OrmoOfflineRunModel(model, config, result);
        OrmoOfflineUnloadModel(model);
        return status;
      }
      case 3: {
        const std::lock_guard<std::mutex> lock(sessionMutex_);
        Ormo::RunnerConfig config;
        config.session = &session_;
        config.prof = true;
        std::vector<Ormo::RunnerRunResult> results;
        return OrmoOnlineRun(ox::Graph(graph_), config, results);
      }
      default:
        return OrmoZelnnRun(call_, result);
    }
  }

  Ormo::ZelnnRunConfig call_;
  std::shared_ptr<ox::ComputeGraph> graph_;
  std::mutex sessionMutex_;
  ox::Session session_;
};

// --- Signals

std::atomic<size_t> handled{0};

void Strike(const std::atomic<bool>& isOver) {
  while (!isOver) {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
      const pid_t thread = std::stoi(task.path().filename().string());
      for (const int signal : {SIGUSR1, SIGUSR2}) {
        if (thread != gettid()) {
          syscall(SYS_tgkill, getpid(), thread, signal);
        }
      }
    }
  }
}

void MeasureUnderSignals(size_t count) {
  for (const int signal : {SIGUSR1, SIGUSR2}) {
    struct sigaction action {};

    action.sa_handler = [](int) { ++handled; };
    action.sa_flags = signal == SIGUSR1 ? 0 : SA_RESTART;
    sigaction(signal, &action, nullptr);
  }
  Measurements measurements;
  std::atomic<bool> isOver{false};
  std::thread striker(Strike, std::cref(isOver));
  measurements.Run(count);
  isOver = true;
  striker.join();
  std::cout << count << " measurements, " << handled << " signals, statuses all 0\n";
}

void Signals(size_t count) {
  const pid_t other = Start({"storm", "struck", std::to_string(count / 2)}, STDOUT_FILENO);
  MeasureUnderSignals(count - count / 2);
  int status = 0;
  Require(waitpid(other, &status, 0) == other && status == 0, "the other process failed");
}

// --- Flatness

struct Holdings {
  long residentKiB;
  ptrdiff_t descriptors;
  ptrdiff_t threads;
};

Holdings TakeStock() {
  const auto count = [](const char* directory) {
    return std::distance(std::filesystem::directory_iterator(directory),
                         std::filesystem::directory_iterator());
  };
  std::ifstream statm("/proc/self/statm");
  long pages = 0;
  statm >> pages >> pages;
  return {pages * (sysconf(_SC_PAGESIZE) / 1024), count("/proc/self/fd"), count("/proc/self/task")};
}

void Flat(size_t count) {
  constexpr size_t WARM_UP = 12000;  // until the spans that are kept without a timeline are many
  constexpr long GROWTH_KIB = 1024;
  Measurements measurements;
  measurements.Run(WARM_UP);
  const Holdings before = TakeStock();
  measurements.Run(count);
  const Holdings after = TakeStock();
  std::cout << count << " measurements: resident " << before.residentKiB << " to "
            << after.residentKiB << " KiB, descriptors " << before.descriptors << " to "
            << after.descriptors << ", threads " << before.threads << " to " << after.threads
            << "\n";
  Require(after.residentKiB <= before.residentKiB + GROWTH_KIB, "memory has grown");
  Require(after.descriptors == before.descriptors, "descriptors were left");
  Require(after.threads == before.threads, "threads were left");
}

void Run(const std::string& attack, size_t count) {
  if (attack == "turns") {
    TakeTurns(static_cast<char>(count));
  } else if (attack == "struck") {
    MeasureUnderSignals(count);
  } else if (attack == "kills") {
    Kills(count);
  } else if (attack == "fair") {
    Fair(count);
  } else if (attack == "signals") {
    Signals(count);
  } else {
    Require(attack == "flat", "there is no such attack");
    Flat(count);
  }
}

// The processes of an attack keep their files in a directory of its own.
class Directory {
 public:
  Directory() {
    std::string name = (std::filesystem::temp_directory_path() / "storm-XXXXXX").string();
    Require(mkdtemp(name.data()) != nullptr, "no directory");
    path_ = name;
    std::filesystem::current_path(path_);
    for (const char* variable : {"HOME", "TARN_CACHE_PATH"}) {
      setenv(variable, name.c_str(), 1);  // NOLINT(concurrency-mt-unsafe): the only thread
    }
  }

  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  ~Directory() { std::filesystem::remove_all(path_); }

 private:
  std::filesystem::path path_;
};

}  // namespace

int main(int argc, char** argv) {
  Require(argc == 3, "an attack and a count, please");
  const std::string attack = argv[1];
  setenv("ORMO_PROF_END", "close", 1);  // NOLINT(concurrency-mt-unsafe): the only thread
  const bool isPart = attack == "turns" || attack == "struck";
  const auto directory = isPart ? nullptr : std::make_unique<Directory>();
  Run(attack, std::stoul(argv[2]));
  return 0;
}
