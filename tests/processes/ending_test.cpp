// Processes that end, or fork, whatever their calls are doing.
#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "support/child_process.h"
#include "support/graph_text.h"
#include "support/temp_directory.h"

namespace Ormo {
namespace {

using Testing::ChildProcess;
using ::testing::Combine;
using Testing::HomeDirectory;
using Testing::ReadFile;
using Testing::SpinGraph;
using Testing::TempDirectory;
using ::testing::UnorderedElementsAreArray;
using ::testing::Values;
using ::testing::ValuesIn;
using Testing::WriteFile;

struct Path {
  const char* name;
  const char* files;  // whose lines tell of a failure
  int late = -1;      // status of a call after the runner's end
};

const std::vector<Path> PATHS = {
    {"loaded", "offline_runner|run_task", 2},
    {"once", "offline_runner|run_task"},
    {"online", "online_runner"},
    {"loaded+prof", "offline_runner|run_task", 2},
    {"once+prof", "offline_runner|run_task"},
    {"online+prof", "online_runner"},
    {"op+prof", "zelnn_runner|zelnn_run_task"},
    {"once+prof+detail", "offline_runner|run_task"},
    {"online+prof+detail", "online_runner"},
};

struct State {
  const char* name;
  std::vector<std::string> reports;  // before the end
  std::vector<int> statuses;         // of the calls, in the order of their begin
};

const std::vector<State> STATES = {{"idle", {"first 0"}, {}},
                                   {"busy", {}, {0, -1, -1}},
                                   {"waiting", {}, {-1, -1, -1}},
                                   {"reading", {"second 0"}, {0}}};

void PrintTo(const State& state, std::ostream* stream) {
  *stream << state.name;
}

class EndingTest : public ::testing::TestWithParam<std::tuple<State, std::string>> {
 protected:
  EndingTest() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("ORMO_HOST_LOG_LEVEL", "warning", 1);
    WriteFile(graph_, SpinGraph({1000}));
  }

  // Keeps device 0 to itself, and is stopped.
  void StartHolder() {
    holder_ = std::make_unique<ChildProcess>(std::vector<std::string>{DEVICE_USER});
    holder_->Send("run 0");
    EXPECT_EQ(holder_->ReadLine(), "running 0");
    holder_->Signal(SIGSTOP);
  }

  // Runs the program; its log goes where its reports go.
  int Run(const std::vector<std::string>& arguments) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    setenv("ORMO_HOST_LOG", "/proc/self/fd/1", 1);
    std::vector<std::string> command = {ENDING, graph_};
    command.insert(command.end(), arguments.begin(), arguments.end());
    ChildProcess process(command);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for it
    unsetenv("ORMO_HOST_LOG");
    reports_.clear();
    log_.clear();
    for (std::string line = process.ReadLine(); !line.empty(); line = process.ReadLine()) {
      (line.find("[Tid:") == std::string::npos ? reports_ : log_).push_back(line);
      if (line.find("alive") == 0) {
        holder_.reset();  // for the run that follows
      }
    }
    return process.Wait();
  }

  ptrdiff_t CountLines(const Path& path) const {
    const std::regex failure("(error|warning) \\[(" + std::string(path.files) + ")\\.cpp");
    return std::count_if(log_.begin(), log_.end(), [&failure](const std::string& line) {
      return std::regex_search(line, failure);
    });
  }

  // How many spans of callers that read were begun and not ended.
  static int CountOpenSpans(const TempDirectory& timelines) {
    int open = 0;
    const auto file = std::filesystem::directory_iterator(timelines.Path());
    const auto timeline = nlohmann::json::parse(ReadFile(file->path()));
    for (const auto& event : timeline.at("traceEvents")) {
      if (event.at("name") == "profiling analysis") {
        open += event.at("ph") == "B" ? 1 : -1;
      }
    }
    return open;
  }

  HomeDirectory directory_;
  const std::string graph_ = directory_ / "graph.json";
  std::unique_ptr<ChildProcess> holder_;
  std::vector<std::string> reports_;
  std::vector<std::string> log_;
};

// Of calls made after the runner's end, where they are made.
void AddLate([[maybe_unused]] int status, [[maybe_unused]] std::vector<std::string>& reports) {
#ifndef __SANITIZE_ADDRESS__
  reports.insert(reports.end(), {"late " + std::to_string(status), "late init -1"});
#endif
}

std::vector<std::string> ExpectedReports(const Path& path, const State& state,
                                         const std::string& way) {
  std::vector<std::string> expected = state.reports;
  const size_t callers = state.statuses.size();
  for (size_t i = 0; i < callers; ++i) {
    // Whoever ends the process reports nothing more.
    if (way == "signal" ? i + 1 < callers : way != "worker" || i > 0) {
      expected.push_back("caller " + std::to_string(i) + " " + std::to_string(state.statuses[i]));
    }
  }
  AddLate(way == "worker" ? -1 : path.late, expected);
  if (way == "finalize") {
    expected.insert(expected.end(), {"alive  0", "again 0"});
  }
  return expected;
}

TEST_P(EndingTest, EveryCallComesBackAndTheProcessEndsAsItWishes) {
  const auto& [state, way] = GetParam();
  for (const Path& path : PATHS) {
    const bool isProfiled = std::string(path.name).find('+') != std::string::npos;
    if (std::string(state.name) == "reading" && !isProfiled) {
      continue;
    }
    SCOPED_TRACE(path.name);
    if (std::string(state.name) == "waiting") {
      StartHolder();
    }
    const auto expected = ExpectedReports(path, state, way);
    const TempDirectory timelines;
    EXPECT_EQ(Run({path.name, state.name, way, timelines.Path()}), 7);
    EXPECT_THAT(reports_, UnorderedElementsAreArray(expected));
    const auto failures =
        std::count_if(expected.begin(), expected.end(),
                      [](const std::string& report) { return report.back() != '0'; });
    const bool endsInACall = (way == "signal" || way == "worker") && !state.statuses.empty();
    const bool isRead = isProfiled || std::string(path.name) == "online";
    EXPECT_EQ(CountOpenSpans(timelines), endsInACall && isRead ? 1 : 0);
    EXPECT_GE(CountLines(path), failures) << ::testing::PrintToString(log_);
  }
}

std::string NameOf(const ::testing::TestParamInfo<EndingTest::ParamType>& info) {
  return std::string(std::get<0>(info.param).name) + "_" + std::get<1>(info.param);
}

INSTANTIATE_TEST_SUITE_P(All, EndingTest,
                         Combine(ValuesIn(STATES), Values("exit", "return", "finalize")), NameOf);

// The thread sanitizer allows handlers next to nothing, and no thread to find out that it is the
// one that it joins.
#ifndef __SANITIZE_THREAD__
INSTANTIATE_TEST_SUITE_P(InAHandler, EndingTest, Combine(ValuesIn(STATES), Values("signal")),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(OnTheWorker, EndingTest,
                         Combine(Values(STATES[0], STATES[1], STATES[2]), Values("worker")),
                         NameOf);
#endif

using ForkTest = EndingTest;

TEST_F(ForkTest, AChildIsRefusedAndEndsAndTheParentGoesOn) {
  for (const Path& path : PATHS) {
    for (const std::string state : {"idle", "busy"}) {
      SCOPED_TRACE(path.name + (" " + state));
      std::vector<std::string> expected = {"child 9", "child init -1", "child run -1", "child 9",
                                           "parent 0"};
      AddLate(path.late, expected);
      if (state == "busy") {
        expected.insert(expected.end(), {"caller 0 0", "caller 1 0", "caller 2 0"});
      } else {
        expected.emplace_back("first 0");
      }
      EXPECT_EQ(Run({path.name, state, "fork", directory_.Path()}), 7);
      EXPECT_THAT(reports_, UnorderedElementsAreArray(expected));
    }
  }
}

}  // namespace
}  // namespace Ormo
